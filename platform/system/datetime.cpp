#include "system/qvdatetime.h"

#include <cmath>

#include "platform/system/calendar.h"

namespace {

// Julian day number of 1601-01-01 00:00 (Meeus, Astronomical Algorithms, chapter 7).
constexpr double kEpochJulianDay = 2305813.5;

struct SDate {
  std::int32_t year, month, day;
};

SDate DateOfDay(std::int64_t days) noexcept {
  constexpr std::int64_t kDaysPerCycle = DaysBeforeYear(kFirstYear + 400);
  std::int32_t year = kFirstYear + static_cast<std::int32_t>(days / kDaysPerCycle * 400);
  days %= kDaysPerCycle;
  // Never too late, since no year is longer than 366 days, and at most one year too early within a cycle.
  const auto passed = static_cast<std::int32_t>(days / 366);
  days -= DaysBeforeYear(kFirstYear + passed);
  year += passed;
  for (; days >= (IsLeapYear(year) ? 366 : 365); ++year) days -= IsLeapYear(year) ? 366 : 365;
  std::int32_t month = 1;
  for (; days >= DaysInMonth(year, month); ++month) days -= DaysInMonth(year, month);
  return {year, month, static_cast<std::int32_t>(days) + 1};
}

bool IsValid(const CQvDateTime::Tm& tm) noexcept {
  if (tm.year < kFirstYear || tm.year > kLastYear || tm.month < 1 || tm.month > 12) return false;
  if (tm.day < 1 || tm.day > DaysInMonth(tm.year, tm.month)) return false;
  return tm.hour >= 0 && tm.hour <= 23 && tm.minute >= 0 && tm.minute <= 59 && tm.second >= 0 && tm.second <= 60 &&
         tm.ticks >= 0 && tm.ticks < kTicksPerSecond;
}

std::int64_t DayOfDate(const CQvDateTime::Tm& tm) noexcept {
  std::int64_t days = DaysBeforeYear(tm.year) + tm.day - 1;
  for (std::int32_t month = 1; month < tm.month; ++month) days += DaysInMonth(tm.year, month);
  return days;
}

}  // namespace

CQvDateTime::Tm::Tm(const SQvFileTime& time) noexcept {
  const std::uint64_t total = time.Ticks();
  const SDate date = DateOfDay(static_cast<std::int64_t>(total / kTicksPerDay));
  const auto rest = static_cast<std::int64_t>(total % kTicksPerDay);
  year = date.year;
  month = date.month;
  day = date.day;
  hour = static_cast<std::int32_t>(rest / (60 * kTicksPerMinute));
  minute = static_cast<std::int32_t>(rest / kTicksPerMinute % 60);
  second = static_cast<std::int32_t>(rest / kTicksPerSecond % 60);
  ticks = static_cast<std::int32_t>(rest % kTicksPerSecond);
}

bool CQvDateTime::Set(const Tm& tm, TimeZone zone) noexcept {
  constexpr TimeZone kMinutesPerDay = 1440;
  if (!IsValid(tm) || zone <= -kMinutesPerDay || zone >= kMinutesPerDay) return false;
  const std::int64_t minutes = tm.hour * 60 + tm.minute - zone;
  const std::int64_t total =
      DayOfDate(tm) * kTicksPerDay + minutes * kTicksPerMinute + tm.second * kTicksPerSecond + tm.ticks;
  if (total < 0 || total >= kDayLimit * kTicksPerDay) return false;
  m_ticks = static_cast<std::uint64_t>(total);
  return true;
}

CQvDateTime::Tm CQvDateTime::Get() const noexcept { return Tm(GetFileTime()); }

double CQvDateTime::GetJulianDayNumber() const noexcept {
  // Days and their fraction apart: 64-bit ticks do not fit the mantissa, a day's do.
  const std::uint64_t days = m_ticks / kTicksPerDay;
  const std::uint64_t rest = m_ticks % kTicksPerDay;
  return (kEpochJulianDay + static_cast<double>(days)) + static_cast<double>(rest) / static_cast<double>(kTicksPerDay);
}

bool CQvDateTime::SetJulianDayNumber(double julianDay) noexcept {
  const double offset = julianDay - kEpochJulianDay;
  if (!(offset >= 0.0 && offset < static_cast<double>(kDayLimit))) return false;
  const double days = std::floor(offset);
  const auto rest = static_cast<std::uint64_t>(std::llround((offset - days) * static_cast<double>(kTicksPerDay)));
  const std::uint64_t total = static_cast<std::uint64_t>(days) * kTicksPerDay + rest;
  if (total >= static_cast<std::uint64_t>(kDayLimit) * kTicksPerDay) return false;
  m_ticks = total;
  return true;
}
