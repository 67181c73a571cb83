#include <gtest/gtest.h>

#include <string>

#include "system/qvbytearray.h"
#include "system/qvstatus.h"
#include "system/qvstring.h"
#include "system/qvvariant.h"
#include "tests/support/file_bytes.h"

namespace {

using qvtest::TextOf;

TEST(ByteArray, ReplacesEverythingFromAnOffsetOn) {
  CQvByteArray bytes;
  bytes.SetData("abcdef", 6, 0, 0);
  bytes.SetData("XY", 2, 3, 100);
  EXPECT_EQ(TextOf(bytes), "abcXY");
  bytes.SetData("Z", 1, 7, 0);
  EXPECT_EQ(TextOf(bytes), std::string("abcXY\0\0Z", 8));
  bytes.SetData(nullptr, 0, 2, 0);
  EXPECT_EQ(TextOf(bytes), "ab");
}

TEST(ByteArray, GivesNoPointerBehindItsEnd) {
  CQvByteArray bytes;
  EXPECT_EQ(bytes.GetData(0), nullptr);
  bytes.Append("ab", 2);
  EXPECT_NE(bytes.GetData(1), nullptr);
  EXPECT_EQ(bytes.GetData(2), nullptr);
  bytes.Append(nullptr, 0);
  EXPECT_EQ(bytes.GetSize(), 2u);
  bytes.Resize(4);
  EXPECT_EQ(*bytes.GetData(3), 0);
}

TEST(String, TakesNullAsEmptyAndKeepsEmbeddedZeros) {
  EXPECT_TRUE(CQvStringW(static_cast<const wchar_t*>(nullptr)).IsEmpty());
  EXPECT_EQ(CQvStringW(L"a\0b", 3).GetLength(), 3u);
  EXPECT_EQ(CQvStringW(L"ab") + CQvStringW(L"cd"), CQvStringW(L"abcd"));
  EXPECT_LT(CQvStringW(L"B"), CQvStringW(L"a"));
}

TEST(Variant, RefusesAnotherKindWhileTypeChangeIsDisabled) {
  CQvVariant value;
  EXPECT_EQ(value.GetKind(), CQvVariant::EKind::Empty);
  EXPECT_EQ(value.SetInt(5), 0);
  EXPECT_EQ(value.SetDouble(1.5), kQvFailure);
  EXPECT_EQ(value.SetInt(6), 0);
  std::int64_t number = 0;
  EXPECT_EQ(value.GetInt(&number), 0);
  EXPECT_EQ(number, 6);
  value.EnableTypeChange(true);
  EXPECT_EQ(value.SetString(CQvStringW(L"x")), 0);
  EXPECT_EQ(value.GetInt(&number), kQvFailure);
  EXPECT_EQ(number, 6);
  EXPECT_EQ(value.GetString(nullptr), kQvFailure);
}

}  // namespace
