#include "host/output/time_text.h"

#include <fmt/format.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <string_view>

#include "system/qvdatetime.h"

namespace qvhost {
namespace {

constexpr double kSecondsPerDay = 86400.0;
constexpr double kMinutesPerDay = 1440.0;
constexpr std::size_t kDateLength = 10;  // of YYYY-MM-DD
constexpr int kTickDigits = 7;

bool BreakDown(double julianDay, CQvDateTime::Tm* tm) {
  CQvDateTime time;
  if (!(julianDay > 0.0) || !time.SetJulianDayNumber(julianDay)) return false;
  *tm = time.Get();
  return true;
}

std::string ZoneText(int minutes) {
  if (minutes == 0) return "UTC";
  const int distance = std::abs(minutes);
  return fmt::format("{}{:02}:{:02}", minutes < 0 ? '-' : '+', distance / 60, distance % 60);
}

std::string IsoText(const CQvDateTime::Tm& tm, int digits) {
  std::string text =
      fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", tm.year, tm.month, tm.day, tm.hour, tm.minute, tm.second);
  if (digits > 0) text += fmt::format(".{:07}", tm.ticks).substr(0, static_cast<std::size_t>(digits) + 1);
  return text + "Z";
}

// The time with that many digits of a second, rounded.
std::string RoundedIsoText(double julianDay, int digits) {
  CQvDateTime::Tm tm;
  const double half = digits == kTickDigits ? 0.0 : 0.5 * std::pow(10.0, -digits) / kSecondsPerDay;
  return BreakDown(julianDay + half, &tm) ? IsoText(tm, digits) : std::string();
}

// Takes the zone off the end of a date with a time, as SetIso knows it; empty when there is none.
std::string TakeZone(std::string* text) {
  if (text->size() <= kDateLength) return {};
  std::string zone;
  if (const std::size_t sign = text->find_first_of("+-", kDateLength); sign != text->npos) {
    zone = text->substr(sign);
    if (zone.size() == 3) zone += ":00";
    if (zone.size() == 5 && zone.find(':') == zone.npos) zone = fmt::format("{}:{}", zone.substr(0, 3), zone.substr(3));
    text->erase(sign);
  } else if (text->ends_with("UTC")) {
    zone = "Z";
    text->erase(text->size() - 3);
  } else if (text->ends_with("Z")) {
    zone = "Z";
    text->pop_back();
  }
  text->erase(text->find_last_not_of(' ') + 1);
  return zone;
}

}  // namespace

double JulianDayOf(double unixSeconds) {
  constexpr double kUnixEpoch = 2440587.5;  // Meeus, Astronomical Algorithms, chapter 7
  return kUnixEpoch + unixSeconds / kSecondsPerDay;
}

double JulianDayNow() {
  const std::chrono::duration<double> since = std::chrono::system_clock::now().time_since_epoch();
  return JulianDayOf(since.count());
}

std::string FormatTime(double julianDay) {
  CQvDateTime time;
  // Half a second more, so that cutting off the fraction rounds.
  const double rounded = julianDay + 0.5 / kSecondsPerDay;
  if (!(julianDay > 0.0) || !time.SetJulianDayNumber(rounded)) return {};
  const int offset = time.GetLocalZone();
  CQvDateTime::Tm tm;
  if (!BreakDown(rounded + offset / kMinutesPerDay, &tm)) return {};
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} {}", tm.year, tm.month, tm.day, tm.hour, tm.minute, tm.second,
                     ZoneText(offset));
}

std::string FormatIsoTime(double julianDay) {
  for (const int digits : {0, 3, 6}) {
    const std::string text = RoundedIsoText(julianDay, digits);
    if (text.empty() || ParseTimeText(text) == julianDay) return text;
  }
  return RoundedIsoText(julianDay, kTickDigits);
}

std::optional<double> ParseTimeText(const std::string& text) {
  std::string time = text;
  const std::string zone = TakeZone(&time);
  CQvDateTime parsed;
  if (!parsed.SetIso((time + zone).c_str())) return std::nullopt;
  if (zone.empty() && !parsed.SetLocal(parsed.Get())) return std::nullopt;
  return parsed.GetJulianDayNumber();
}

}  // namespace qvhost
