#pragma once

#include <cstdint>

// Days of the proleptic Gregorian calendar, counted from 1601-01-01, which starts a 400-year cycle.

constexpr std::int64_t kTicksPerSecond = 10'000'000;
constexpr std::int64_t kTicksPerMinute = 60 * kTicksPerSecond;
constexpr std::int64_t kTicksPerDay = 1440 * kTicksPerMinute;
constexpr std::int32_t kFirstYear = 1601;
constexpr std::int32_t kLastYear = 9999;

constexpr bool IsLeapYear(std::int32_t year) noexcept { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

constexpr std::int32_t DaysInMonth(std::int32_t year, std::int32_t month) noexcept {
  constexpr std::int32_t kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return kDays[month - 1] + (month == 2 && IsLeapYear(year) ? 1 : 0);
}

// Days before 1 January of `year` >= 1601.
constexpr std::int64_t DaysBeforeYear(std::int32_t year) noexcept {
  const std::int64_t passed = static_cast<std::int64_t>(year) - kFirstYear;
  return passed * 365 + passed / 4 - passed / 100 + passed / 400;
}

constexpr std::int64_t kDayLimit = DaysBeforeYear(kLastYear + 1);
