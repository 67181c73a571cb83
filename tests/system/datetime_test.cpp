#include "system/qvdatetime.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <random>

namespace {

constexpr std::uint64_t kSecond = 10'000'000;
constexpr std::uint64_t kDay = 86400 * kSecond;
constexpr std::uint64_t kUnixEpoch = 11'644'473'600u * kSecond;
constexpr std::uint64_t kYear10000 = 3'067'671 * kDay;

CQvDateTime::Tm Fields(std::int32_t year, std::int32_t month, std::int32_t day, std::int32_t hour = 0,
                       std::int32_t minute = 0, std::int32_t second = 0, std::int32_t ticks = 0) {
  CQvDateTime::Tm tm;
  tm.year = year;
  tm.month = month;
  tm.day = day;
  tm.hour = hour;
  tm.minute = minute;
  tm.second = second;
  tm.ticks = ticks;
  return tm;
}

std::uint64_t TicksOf(const CQvDateTime::Tm& tm, CQvDateTime::TimeZone zone = 0) {
  CQvDateTime time;
  EXPECT_TRUE(time.Set(tm, zone));
  return time.GetFileTime().Ticks();
}

// Ticks of a text, or all ones when it is refused.
std::uint64_t Iso(const char* text) {
  CQvDateTime time(SQvFileTime::FromTicks(77));
  if (time.SetIso(text)) return time.GetFileTime().Ticks();
  EXPECT_EQ(time.GetFileTime().Ticks(), 77u) << text;
  return ~std::uint64_t{0};
}
constexpr std::uint64_t kRefused = ~std::uint64_t{0};

TEST(DateTime, SplitsAFileTimeIntoHalves) {
  const SQvFileTime time = SQvFileTime::FromTicks(0x0123456789ABCDEFu);
  EXPECT_EQ(time.low, 0x89ABCDEFu);
  EXPECT_EQ(time.high, 0x01234567u);
  EXPECT_EQ(time.Ticks(), 0x0123456789ABCDEFu);
}

TEST(DateTime, CountsFrom1601) {
  EXPECT_EQ(TicksOf(Fields(1601, 1, 1)), 0u);
  EXPECT_EQ(TicksOf(Fields(1970, 1, 1)), kUnixEpoch);
  EXPECT_EQ(TicksOf(Fields(2001, 1, 1)), 146097 * kDay);
  EXPECT_EQ(TicksOf(Fields(9999, 12, 31, 23, 59, 59, 9999999)), kYear10000 - 1);
  EXPECT_EQ(TicksOf(Fields(2024, 2, 29, 12, 34, 56, 7891234)), kUnixEpoch + 1'709'210'096u * kSecond + 7891234u);
}

TEST(DateTime, JulianDaysAreThoseOfTheBook) {
  // Meeus, Astronomical Algorithms, chapter 7, and the epochs in common use.
  const struct {
    CQvDateTime::Tm tm;
    double julianDay;
  } kDays[] = {{Fields(1601, 1, 1), 2305813.5},     {Fields(1957, 10, 4, 19, 26, 24), 2436116.31},
               {Fields(1970, 1, 1), 2440587.5},     {Fields(1987, 6, 19, 12), 2446966.0},
               {Fields(1988, 1, 27), 2447187.5},    {Fields(1999, 1, 1), 2451179.5},
               {Fields(2000, 1, 1, 12), 2451545.0}, {Fields(1858, 11, 17), 2400000.5}};
  for (const auto& day : kDays) {
    CQvDateTime time;
    ASSERT_TRUE(time.Set(day.tm, 0));
    EXPECT_DOUBLE_EQ(time.GetJulianDayNumber(), day.julianDay) << day.tm.year;
  }
}

TEST(DateTime, BrokenDownTimeGivesTheSameJulianDayBits) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const SQvFileTime file = SQvFileTime::FromTicks(random() % kYear10000);
    CQvDateTime throughFields;
    ASSERT_TRUE(throughFields.Set(CQvDateTime::Tm(file), CQvDateTime::TimeZone{0}));
    ASSERT_EQ(throughFields.GetFileTime().Ticks(), file.Ticks());
    ASSERT_EQ(throughFields.Get().ticks, CQvDateTime::Tm(file).ticks);
    ASSERT_EQ(std::bit_cast<std::uint64_t>(throughFields.GetJulianDayNumber()),
              std::bit_cast<std::uint64_t>(CQvDateTime(file).GetJulianDayNumber()));
  }
}

TEST(DateTime, EveryDayComesBackFromItsFields) {
  CQvDateTime::Tm before(SQvFileTime::FromTicks(0));
  for (std::uint64_t day = 1; day < 3'067'671; ++day) {
    const CQvDateTime::Tm tm(SQvFileTime::FromTicks(day * kDay + 1));
    const bool sameMonth = tm.day == before.day + 1 && tm.month == before.month && tm.year == before.year;
    const bool nextMonth = tm.day == 1 && tm.month == before.month + 1 && tm.year == before.year;
    const bool nextYear = tm.day == 1 && tm.month == 1 && before.month == 12 && tm.year == before.year + 1;
    ASSERT_TRUE(sameMonth || nextMonth || nextYear) << day;
    if (tm.day == 1) {
      ASSERT_EQ(TicksOf(tm), day * kDay + 1);
    }
    before = tm;
  }
  EXPECT_EQ(before.year, 9999);
}

TEST(DateTime, TheLargestFileTimeHasFields) {
  const CQvDateTime::Tm tm(SQvFileTime::FromTicks(~std::uint64_t{0}));
  EXPECT_EQ(tm.year, 60056);
  EXPECT_EQ(tm.month, 5);
  EXPECT_EQ(tm.day, 28);
  CQvDateTime time;
  EXPECT_FALSE(time.Set(tm, 0));
}

TEST(DateTime, RefusesFieldsOutOfRangeAndStaysAsItWas) {
  const CQvDateTime::Tm kWrong[] = {Fields(1600, 12, 31),
                                    Fields(10000, 1, 1),
                                    Fields(2000, 0, 1),
                                    Fields(2000, 13, 1),
                                    Fields(2000, 1, 0),
                                    Fields(2000, 1, 32),
                                    Fields(2001, 2, 29),
                                    Fields(1900, 2, 29),
                                    Fields(2000, 4, 31),
                                    Fields(2000, 1, 1, -1),
                                    Fields(2000, 1, 1, 24),
                                    Fields(2000, 1, 1, 0, 60),
                                    Fields(2000, 1, 1, 0, 0, 61),
                                    Fields(2000, 1, 1, 0, -1),
                                    Fields(2000, 1, 1, 0, 0, -1),
                                    Fields(2000, 1, 1, 0, 0, 0, 10'000'000),
                                    Fields(2000, 1, 1, 0, 0, 0, -1)};
  for (const auto& tm : kWrong) {
    CQvDateTime time(SQvFileTime::FromTicks(5));
    EXPECT_FALSE(time.Set(tm, 0)) << tm.year << "-" << tm.month << "-" << tm.day;
    EXPECT_EQ(time.GetFileTime().Ticks(), 5u);
  }
}

TEST(DateTime, TakesZonesAndLeapSeconds) {
  EXPECT_EQ(TicksOf(Fields(2000, 1, 1, 1), 60), TicksOf(Fields(2000, 1, 1)));
  EXPECT_EQ(TicksOf(Fields(1999, 12, 31, 19), -300), TicksOf(Fields(2000, 1, 1)));
  EXPECT_EQ(TicksOf(Fields(2016, 12, 31, 23, 59, 60)), TicksOf(Fields(2017, 1, 1)));
  CQvDateTime time;
  EXPECT_FALSE(time.Set(Fields(1601, 1, 1), 1));
  EXPECT_FALSE(time.Set(Fields(9999, 12, 31, 23, 59), -1));
  EXPECT_FALSE(time.Set(Fields(2000, 1, 1), 1440));
  EXPECT_FALSE(time.Set(Fields(2000, 1, 1), -1440));
}

TEST(DateTime, JulianDaysRoundTripExactly) {
  std::mt19937_64 random(2);
  for (int i = 0; i < 20000; ++i) {
    const double day = CQvDateTime(SQvFileTime::FromTicks(random() % kYear10000)).GetJulianDayNumber();
    CQvDateTime time;
    if (day >= 5373484.5) continue;
    ASSERT_TRUE(time.SetJulianDayNumber(day));
    ASSERT_EQ(time.GetJulianDayNumber(), day);
  }
}

TEST(DateTime, RefusesJulianDaysOutOfRange) {
  for (const double day : {0.0, 2305813.0, 5373484.5, 1e300, -1e300, std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity(), std::nan("")}) {
    CQvDateTime time(SQvFileTime::FromTicks(9));
    EXPECT_FALSE(time.SetJulianDayNumber(day)) << day;
    EXPECT_EQ(time.GetFileTime().Ticks(), 9u);
  }
  CQvDateTime time;
  EXPECT_TRUE(time.SetJulianDayNumber(2305813.5));
  EXPECT_EQ(time.GetFileTime().Ticks(), 0u);
  EXPECT_TRUE(time.SetJulianDayNumber(std::nextafter(5373484.5, 0.0)));
}

TEST(DateTimeIso, TakesDateTimeFractionAndZone) {
  const std::uint64_t day = TicksOf(Fields(2020, 2, 29));
  EXPECT_EQ(Iso("2020-02-29"), day);
  EXPECT_EQ(Iso("2020-02-29T13:14"), day + (13 * 3600 + 14 * 60) * kSecond);
  EXPECT_EQ(Iso("2020-02-29 13:14:15"), day + (13 * 3600 + 14 * 60 + 15) * kSecond);
  EXPECT_EQ(Iso("2020-02-29T00:00:00.5"), day + 5'000'000);
  EXPECT_EQ(Iso("2020-02-29T00:00:00.1234567"), day + 1'234'567);
  EXPECT_EQ(Iso("2020-02-29T00:00:00.123456789123456789123456789"), day + 1'234'567);
  EXPECT_EQ(Iso("2020-02-29T02:30:00Z"), day + 9000 * kSecond);
  EXPECT_EQ(Iso("2020-02-29T02:30+02:30"), day);
  EXPECT_EQ(Iso("2020-02-28T22:15:00.25-01:45"), day + 2'500'000);
  EXPECT_EQ(Iso("2020-02-29Z"), day);
  EXPECT_EQ(Iso("2020-02-29-01:00"), day + 3600 * kSecond);
  EXPECT_EQ(Iso("2016-12-31T23:59:60Z"), TicksOf(Fields(2017, 1, 1)));
}

TEST(DateTimeIso, RefusesAnythingElse) {
  for (const char* text : {"",
                           " ",
                           "2020",
                           "2020-02",
                           "2020-2-29",
                           "20200229",
                           "2020-02-30",
                           "2021-02-29",
                           "2020-13-01",
                           "2020-00-10",
                           "2020-01-00",
                           "+2020-01-01",
                           "-2020-01-01",
                           " 2020-01-01",
                           "2020-01-01 ",
                           "2020-01-01T",
                           "2020-01-01 ",
                           "2020-01-01T12",
                           "2020-01-01T1:00",
                           "2020-01-01T24:00",
                           "2020-01-01T12:60",
                           "2020-01-01T12:00:61",
                           "2020-01-01T12:00:",
                           "2020-01-01T12:00:00.",
                           "2020-01-01T12:00:00,5",
                           "2020-01-01T12:00.5",
                           "2020-01-01t12:00",
                           "2020-01-01T12:00z",
                           "2020-01-01T12:00+1",
                           "2020-01-01T12:00+01",
                           "2020-01-01T12:00+0100",
                           "2020-01-01T12:00+24:00",
                           "2020-01-01T12:00+01:60",
                           "2020-01-01T12:00ZZ",
                           "2020-01-01T12:00Z ",
                           "2020-01-01X12:00",
                           "1600-01-01",
                           "0000-01-01",
                           "1601-01-01T00:00+00:01",
                           "2020-0\xC2\xB2-01",
                           "2020-01-01T12:00:0"}) {
    EXPECT_EQ(Iso(text), kRefused) << text;
  }
  CQvDateTime time;
  EXPECT_FALSE(time.SetIso(nullptr));
}

TEST(DateTime, LocalTimeFollowsTheClocksOfTheZone) {
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  const auto utcHour = [](int month, int day, int hour) {
    CQvDateTime::Tm tm;
    tm.year = 2024;
    tm.month = month;
    tm.day = day;
    tm.hour = hour;
    CQvDateTime time;
    EXPECT_TRUE(time.SetLocal(tm));
    return time.Get().hour;
  };
  EXPECT_EQ(utcHour(1, 15, 12), 11);
  EXPECT_EQ(utcHour(7, 15, 12), 10);
  // On the day of the change to summer time, before and behind it.
  EXPECT_EQ(utcHour(3, 31, 1), 0);
  EXPECT_EQ(utcHour(3, 31, 3), 1);
  // And back.
  EXPECT_EQ(utcHour(10, 27, 1), 23);
  EXPECT_EQ(utcHour(10, 27, 4), 3);
  CQvDateTime::Tm none;
  none.month = 13;
  EXPECT_FALSE(CQvDateTime().SetLocal(none));
  setenv("TZ", "UTC0", 1);
  tzset();
}

}  // namespace
