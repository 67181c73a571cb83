#include <gtest/gtest.h>

#include <limits>

#include "system/qvfile.h"

namespace {

constexpr std::int32_t kMax = std::numeric_limits<std::int32_t>::max();
constexpr std::int32_t kMin = std::numeric_limits<std::int32_t>::min();

TEST(Number, ParsesDecimalDigitsUpToTheFirstOtherCharacter) {
  EXPECT_EQ(QV_wtoi(L"0"), 0);
  EXPECT_EQ(QV_wtoi(L"123"), 123);
  EXPECT_EQ(QV_wtoi(L"12x3"), 12);
  EXPECT_EQ(QV_wtoi(L"7.9"), 7);
  EXPECT_EQ(QV_wtoi(L"0x10"), 0);
}

TEST(Number, TakesBlanksAndOneSignInFront) {
  EXPECT_EQ(QV_wtoi(L" \t\n\v\f\r42"), 42);
  EXPECT_EQ(QV_wtoi(L"-42"), -42);
  EXPECT_EQ(QV_wtoi(L"  +42"), 42);
  EXPECT_EQ(QV_wtoi(L"- 42"), 0);
  EXPECT_EQ(QV_wtoi(L"--42"), 0);
  EXPECT_EQ(QV_wtoi(L"+-42"), 0);
}

TEST(Number, GivesZeroWithoutDigits) {
  EXPECT_EQ(QV_wtoi(nullptr), 0);
  EXPECT_EQ(QV_wtoi(L""), 0);
  EXPECT_EQ(QV_wtoi(L"   "), 0);
  EXPECT_EQ(QV_wtoi(L"-"), 0);
  EXPECT_EQ(QV_wtoi(L"abc"), 0);
  // Digits of other scripts are not decimal digits here.
  EXPECT_EQ(QV_wtoi(L"\x0663"), 0);
}

TEST(Number, SaturatesAtTheLimitsOf32Bits) {
  EXPECT_EQ(QV_wtoi(L"2147483647"), kMax);
  EXPECT_EQ(QV_wtoi(L"2147483648"), kMax);
  EXPECT_EQ(QV_wtoi(L"-2147483648"), kMin);
  EXPECT_EQ(QV_wtoi(L"-2147483649"), kMin);
  EXPECT_EQ(QV_wtoi(L"99999999999999999999999999999999"), kMax);
  EXPECT_EQ(QV_wtoi(L"-99999999999999999999999999999999"), kMin);
}

TEST(Number, TellsThePointerWidth) { EXPECT_EQ(QV_Is64Bit(), sizeof(void*) == 8); }

}  // namespace
