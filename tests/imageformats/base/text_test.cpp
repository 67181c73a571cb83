#include "platform/imageformats/base/text.h"

#include <gtest/gtest.h>

#include <string>

namespace imageformats {
namespace {

TEST(TextOf, TakesUtf8AndElseLatin1) {
  EXPECT_EQ(TextOf("5 \xC2\xB5m"), CQvStringW(L"5 \u00B5m"));
  EXPECT_EQ(TextOf("5 \xB5m"), CQvStringW(L"5 \u00B5m"));
  EXPECT_EQ(TextOfLatin1("\xC2\xB5"), CQvStringW(L"\u00C2\u00B5"));
}

TEST(TextOf, TrimsAndCleans) {
  EXPECT_EQ(TextOf(std::string_view("  a\x01 b\r\nc \n\0rest", 17)), CQvStringW(L"a b\r\nc"));
  EXPECT_TRUE(TextOf(" \t\n").IsEmpty());
  EXPECT_EQ(TextOf(std::string(1000000, 'x')).GetLength(), kMaxTextLength);
}

TEST(TextOfUtf16, HonoursByteOrder) {
  EXPECT_EQ(TextOfUtf16(std::string_view("\0A\x03\xBC", 4), true), CQvStringW(L"A\u03BC"));
  EXPECT_EQ(TextOfUtf16(std::string_view("A\0\xBC\x03\0\0B\0", 8), false), CQvStringW(L"A\u03BC"));
}

TEST(NumberText, IsShort) {
  EXPECT_EQ(NumberText(0.25, 3), "0.25");
  EXPECT_EQ(NumberText(20.0, 2), "20");
  EXPECT_EQ(NumberText(1e300, 2).size(), 301u);
}

TEST(Joined, LeavesOutWhatIsEmpty) {
  EXPECT_EQ(Joined(L"a", L", ", L"b"), CQvStringW(L"a, b"));
  EXPECT_EQ(Joined(L"", L", ", L"b"), CQvStringW(L"b"));
  EXPECT_EQ(Joined(L"a", L", ", L""), CQvStringW(L"a"));
  EXPECT_EQ(Joined({"", "a", "", "b", ""}, ", "), "a, b");
}

}  // namespace
}  // namespace imageformats
