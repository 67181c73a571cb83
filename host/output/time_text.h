#pragma once

#include <optional>
#include <string>

namespace qvhost {

// Times as Julian day numbers in UTC, and as texts.

double JulianDayNow();
// Of seconds since 1970, as the system counts them.
double JulianDayOf(double unixSeconds);

// "2024-05-01 14:30:00 +02:00", in the local time zone, for people; "… UTC" where that is the zone. Empty when the
// number names no time.
std::string FormatTime(double julianDay);
// "2024-05-01T12:30:00Z", for programs, with as much of a second as it takes to get the same number back. Empty when
// the number names no time.
std::string FormatIsoTime(double julianDay);

// Reads what the two write, and other ISO 8601: a date, or a date with a time, and with a zone (Z, UTC, +02:00, +0200,
// +02) or in local time.
std::optional<double> ParseTimeText(const std::string& text);

}  // namespace qvhost
