#include <gtest/gtest.h>
#include <locale.h>
#include <wctype.h>

#include <string>

#include "system/qvstring.h"

namespace {

std::wstring Lower(std::wstring text) {
  CQvStringUtils::ToLower(text);
  return text;
}

TEST(StringCase, LowersEveryCharacterAsTheLocaleDoes) {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  ASSERT_NE(locale, nullptr);
  for (std::uint32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::wstring one(1, static_cast<wchar_t>(c));
    ASSERT_EQ(static_cast<std::uint32_t>(Lower(one)[0]), towlower_l(c, locale)) << c;
  }
  freelocale(locale);
}

TEST(StringCase, LowersLettersOfManyScripts) {
  EXPECT_EQ(Lower(L"/Data/IMG_0042.TIF"), L"/data/img_0042.tif");
  EXPECT_EQ(Lower(L"\x00C4\x00D6\x00DC"), L"\x00E4\x00F6\x00FC");
  EXPECT_EQ(Lower(L"\x0391\x03A9\x0416"), L"\x03B1\x03C9\x0436");
  EXPECT_EQ(Lower(L"@[`{\x7F"), L"@[`{\x7F");
}

TEST(StringCase, DoesNotFollowTheProcessLocale) {
  const std::string before = setlocale(LC_ALL, nullptr);
  setlocale(LC_ALL, "C");
  EXPECT_EQ(Lower(L"\x00C9t\x00C9I"), L"\x00E9t\x00E9i");
  setlocale(LC_ALL, before.c_str());
}

TEST(StringCase, LengthsAroundTheFastBranch) {
  for (std::size_t size = 0; size < 70; ++size) {
    std::wstring text(size, L'Q');
    EXPECT_EQ(Lower(text), std::wstring(size, L'q'));
    for (std::size_t at = 0; at < size; ++at) {
      std::wstring mixed = text, expected(size, L'q');
      mixed[at] = L'\x00C9';
      expected[at] = L'\x00E9';
      ASSERT_EQ(Lower(mixed), expected) << size << " " << at;
    }
  }
}

TEST(StringCase, KeepsSurrogatesAndEscapedBytes) {
  std::wstring text;
  for (std::uint32_t c = 0xD800; c <= 0xDFFF; ++c) text += static_cast<wchar_t>(c);
  EXPECT_EQ(Lower(text), text);
}

TEST(StringCase, EqualityMeansEqualLowerCase) {
  EXPECT_TRUE(CQvStringUtils::EqualNoCase(L"Picture\x00C9", L"pICTURE\x00E9"));
  EXPECT_FALSE(CQvStringUtils::EqualNoCase(L"picture", L"picture "));
  EXPECT_FALSE(CQvStringUtils::EqualNoCase(L"@", L"`"));
  EXPECT_TRUE(CQvStringUtils::EqualNoCase(L"", L""));
  // A sharp s is a character of its own.
  EXPECT_FALSE(
      CQvStringUtils::EqualNoCase(L"stra\x00DF"
                                  L"e",
                                  L"STRASSE"));
}

}  // namespace
