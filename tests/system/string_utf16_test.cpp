#include <gtest/gtest.h>

#include <string>

#include "system/qvstring.h"

namespace {

std::wstring RoundTrip(const std::wstring& text) {
  return CQvStringUtils::UTF16toW(CQvStringUtils::WtoUTF16(text.c_str())).Str();
}

TEST(Utf16, EveryCodePointComesBack) {
  for (std::uint32_t c = 1; c <= 0x10FFFF; ++c) {
    const std::wstring text{L'x', static_cast<wchar_t>(c), L'y'};
    // The private-use characters that escaped bytes travel as come back as those.
    const bool travels = c >= 0x10DC80 && c <= 0x10DCFF;
    const std::wstring expected{L'x', static_cast<wchar_t>(travels ? c - 0x100000 : c), L'y'};
    ASSERT_EQ(RoundTrip(text), expected) << c;
  }
}

TEST(Utf16, KnownTexts) {
  EXPECT_EQ(CQvStringUtils::WtoUTF16(L"\x00B5m"), u"\x00B5m");
  EXPECT_EQ(CQvStringUtils::WtoUTF16(L"\U0001F52C"), u"\xD83D\xDD2C");
  EXPECT_EQ(CQvStringUtils::WtoUTF16(L"\U0010FFFF"), u"\xDBFF\xDFFF");
  EXPECT_EQ(CQvStringUtils::UTF16toW(u"\xD83D\xDD2C!").Str(), L"\U0001F52C!");
}

TEST(Utf16, EscapedBytesAreNeverLoneSurrogates) {
  const std::wstring text{static_cast<wchar_t>(0xDC80), static_cast<wchar_t>(0xDCFF)};
  const std::u16string units = CQvStringUtils::WtoUTF16(text.c_str());
  EXPECT_EQ(units, u"\xDBF7\xDC80\xDBF7\xDCFF");
  EXPECT_EQ(RoundTrip(text), text);
}

TEST(Utf16, LoneSurrogatesStay) {
  const char16_t kUnits[] = {0xDC00, u'a', 0xD800, u'b', 0xD800, 0};
  const std::wstring wide = CQvStringUtils::UTF16toW(kUnits).Str();
  EXPECT_EQ(wide, (std::wstring{static_cast<wchar_t>(0xDC00), L'a', static_cast<wchar_t>(0xD800), L'b',
                                static_cast<wchar_t>(0xD800)}));
  EXPECT_EQ(CQvStringUtils::WtoUTF16(wide.c_str()), kUnits);
}

TEST(Utf16, NullIsEmpty) {
  EXPECT_TRUE(CQvStringUtils::WtoUTF16(nullptr).empty());
  EXPECT_TRUE(CQvStringUtils::UTF16toW(static_cast<const char16_t*>(nullptr)).IsEmpty());
}

}  // namespace
