#include "host/output/time_text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

namespace qvhost {
namespace {

class CZone {
 public:
  explicit CZone(const char* zone) {
    setenv("TZ", zone, 1);
    tzset();
  }
  CZone(const CZone&) = delete;
  CZone& operator=(const CZone&) = delete;
  ~CZone() {
    unsetenv("TZ");
    tzset();
  }
};

constexpr double kEpoch = 2440587.5;
// With summer time from March to October.
constexpr const char* kCentralEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

TEST(TimeTextTest, PeopleSeeLocalTime) {
  const CZone zone(kCentralEurope);
  EXPECT_EQ(FormatTime(kEpoch), "1970-01-01 01:00:00 +01:00");
  EXPECT_EQ(FormatTime(*ParseTimeText("2024-05-01T12:30:00Z")), "2024-05-01 14:30:00 +02:00");
}

TEST(TimeTextTest, WhereLocalTimeIsUtcItIsCalledSo) {
  const CZone zone("UTC0");
  EXPECT_EQ(FormatTime(kEpoch), "1970-01-01 00:00:00 UTC");
}

TEST(TimeTextTest, ProgramsSeeUtc) {
  const CZone zone(kCentralEurope);
  EXPECT_EQ(FormatIsoTime(kEpoch + 0.75), "1970-01-01T18:00:00Z");
}

TEST(TimeTextTest, AnUnknownTimeIsEmpty) {
  for (const double none : {0.0, -5.0, 1e300, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_EQ(FormatTime(none), "");
    EXPECT_EQ(FormatIsoTime(none), "");
  }
}

TEST(TimeTextTest, EveryTimeComesBackToTheLastBit) {
  double time = 2460432.0208333333;
  for (int i = 0; i < 10000; ++i, time = std::nextafter(time, HUGE_VAL)) {
    ASSERT_EQ(ParseTimeText(FormatIsoTime(time)), time) << FormatIsoTime(time);
  }
  EXPECT_EQ(FormatIsoTime(*ParseTimeText("2024-05-01T12:30:00.250Z")), "2024-05-01T12:30:00.250Z");
}

TEST(TimeTextTest, ZonesAreReadInEveryForm) {
  const CZone zone(kCentralEurope);
  const double time = *ParseTimeText("2024-05-01T12:30:00Z");
  for (const char* text : {"2024-05-01T14:30:00+02:00", "2024-05-01T14:30:00+0200", "2024-05-01T14:30:00+02",
                           "2024-05-01 14:30:00 +02:00", "2024-05-01 12:30 UTC", "2024-05-01T10:30-02:00"}) {
    EXPECT_EQ(ParseTimeText(text), time) << text;
  }
}

TEST(TimeTextTest, ATimeWithoutAZoneIsLocal) {
  const CZone zone(kCentralEurope);
  EXPECT_EQ(ParseTimeText("2024-05-01T14:30"), ParseTimeText("2024-05-01T12:30Z"));
  EXPECT_EQ(ParseTimeText("2024-01-01T13:30"), ParseTimeText("2024-01-01T12:30Z"));
  EXPECT_EQ(ParseTimeText("2024-01-01"), ParseTimeText("2023-12-31T23:00Z"));
}

TEST(TimeTextTest, WhatIsNoTimeIsNone) {
  for (const char* text : {"", "yesterday", "2024-13-01", "2024-05-01T14:30+2", "2024-05-01T14:30+02:00Z"}) {
    EXPECT_EQ(ParseTimeText(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace qvhost
