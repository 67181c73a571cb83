#include "host/output/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "system/qvdatetime.h"

namespace qvhost {
namespace {

std::string Escape(std::string_view text, bool keepLines) {
  std::string safe;
  safe.reserve(text.size());
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool kept = (byte >= 0x20 && byte != 0x7F) || (keepLines && c == '\n');
    if (kept) {
      safe += c;
    } else {
      safe += fmt::format("\\x{:02X}", byte);
    }
  }
  return safe;
}

bool BreakDown(double julianDay, CQvDateTime::Tm* tm) {
  CQvDateTime time;
  // Half a second more, so that cutting off the fraction rounds.
  if (!(julianDay > 0.0) || !time.SetJulianDayNumber(julianDay + 0.5 / 86400.0)) return false;
  *tm = time.Get();
  return true;
}

}  // namespace

std::string Printable(std::string_view text) { return Escape(text, false); }
std::string Printable(const CQvStringW& text) { return Escape(CQvStringUtils::WtoUTF8(text).Str(), false); }

std::string PrintableLines(const CQvStringW& text) {
  const std::string raw = CQvStringUtils::WtoUTF8(text).Str();
  std::string lines;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw.compare(i, 2, "\r\n") != 0) lines += raw[i];
  }
  return Escape(lines, true);
}

std::size_t DisplayWidth(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string FormatCount(std::int64_t count) {
  std::string digits = std::to_string(count);
  const std::size_t first = digits[0] == '-' ? 1 : 0;
  for (std::size_t i = digits.size(); i > first + 3;) {
    i -= 3;
    digits.insert(i, 1, ',');
  }
  return digits;
}

std::string FormatBytes(std::int64_t bytes) {
  constexpr std::array<const char*, 5> kUnits = {"bytes", "kB", "MB", "GB", "TB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 999.5 && unit + 1 < kUnits.size()) {
    value /= 1000.0;
    ++unit;
  }
  return unit == 0 ? fmt::format("{} bytes", bytes) : fmt::format("{:.3g} {}", value, kUnits[unit]);
}

std::string FormatDuration(double seconds) {
  if (seconds < 10.0) return fmt::format("{:.2g} s", std::max(seconds, 0.0));
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole % 3600 / 60);
}

std::string FormatNumber(double value) { return fmt::format("{:.6g}", value); }

std::string FormatTime(double julianDay) {
  CQvDateTime::Tm tm;
  if (!BreakDown(julianDay, &tm)) return {};
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02} UTC", tm.year, tm.month, tm.day, tm.hour, tm.minute,
                     tm.second);
}

std::string FormatIsoTime(double julianDay) {
  CQvDateTime::Tm tm;
  if (!BreakDown(julianDay, &tm)) return {};
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", tm.year, tm.month, tm.day, tm.hour, tm.minute, tm.second);
}

std::string FormatOmitted(std::size_t total, const char* entries) {
  if (total <= kMaxListed) return {};
  return fmt::format("… and {} more {}", FormatCount(static_cast<std::int64_t>(total - kMaxListed)), entries);
}

CTable::CTable(std::vector<std::string> header, std::vector<bool> rightAligned)
    : m_rightAligned(std::move(rightAligned)) {
  m_rightAligned.resize(header.size(), false);
  m_rows.push_back(std::move(header));
}

void CTable::Print() const {
  std::vector<std::size_t> widths(m_rightAligned.size(), 0);
  for (const auto& row : m_rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  for (const auto& row : m_rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - DisplayWidth(row[i]), ' ');
      line += (i ? "  " : "") + (m_rightAligned[i] ? blanks + row[i] : row[i] + blanks);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
  }
}

}  // namespace qvhost
