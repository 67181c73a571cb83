#pragma once

#include <cstdint>

#include "system/qvexport.h"

// A point in time as a count of 100-nanosecond steps since 1601-01-01 00:00 UTC, in two halves. All zero: unknown.
struct SQvFileTime {
  std::uint32_t low = 0;
  std::uint32_t high = 0;

  std::uint64_t Ticks() const noexcept { return (static_cast<std::uint64_t>(high) << 32) | low; }
  static SQvFileTime FromTicks(std::uint64_t ticks) noexcept {
    return {static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32)};
  }
};

// Date and time in the proleptic Gregorian calendar, UTC inside, to 100 nanoseconds. A value type.
class QV_SYSTEM_API CQvDateTime {
 public:
  // Broken-down time. month 1..12, day 1..31, hour 0..23, minute 0..59, second 0..60, ticks 0..9999999 (100 ns).
  struct Tm {
    std::int32_t year = 1601, month = 1, day = 1, hour = 0, minute = 0, second = 0, ticks = 0;

    Tm() = default;
    // The UTC fields of a file time.
    QV_SYSTEM_API explicit Tm(const SQvFileTime& time) noexcept;
  };
  // Offset of a broken-down time from UTC in minutes, east positive; 0 is UTC.
  using TimeZone = std::int32_t;

  // 1601-01-01 00:00 UTC.
  CQvDateTime() noexcept = default;
  explicit CQvDateTime(const SQvFileTime& time) noexcept : m_ticks(time.Ticks()) {}

  // Takes a broken-down time of the given zone. False, and unchanged, when a field is out of range or the year is not
  // in 1601..9999.
  bool Set(const Tm& tm, TimeZone zone) noexcept;
  // The same for a time as the clocks of this machine's time zone show it. Of one that they show twice or never, one
  // that is at most an hour off.
  bool SetLocal(const Tm& tm) noexcept;
  // Parses ISO 8601: YYYY-MM-DD, optionally T or blank and hh:mm[:ss[.fraction]], optionally Z or an offset (+hh:mm);
  // without one the time is UTC. False, and unchanged, on anything else.
  bool SetIso(const char* text) noexcept;
  bool SetJulianDayNumber(double julianDay) noexcept;

  Tm Get() const noexcept;
  // The zone that the clocks of this machine follow at this time.
  TimeZone GetLocalZone() const noexcept;
  SQvFileTime GetFileTime() const noexcept { return SQvFileTime::FromTicks(m_ticks); }
  // Julian day number, UTC, fractional: 2440587.5 is 1970-01-01 00:00 (Meeus, Astronomical Algorithms, chapter 7).
  double GetJulianDayNumber() const noexcept;

 private:
  std::uint64_t m_ticks = 0;
};
