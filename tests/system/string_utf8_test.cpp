#include <gtest/gtest.h>

#include <random>
#include <string>

#include "system/qvstring.h"

namespace {

std::wstring Wide(std::string_view text) { return CQvStringUtils::UTF8toW(text).Str(); }
std::string Narrow(const std::wstring& text) { return CQvStringUtils::WtoUTF8(CQvStringW(text)).Str(); }

// Every byte escaped on its own.
std::wstring Escaped(std::string_view bytes) {
  std::wstring out;
  for (const char c : bytes) out += static_cast<wchar_t>(0xDC00 + static_cast<unsigned char>(c));
  return out;
}

TEST(Utf8, ConvertsEveryCodePoint) {
  for (std::uint32_t c = 1; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const std::wstring text{L'x', static_cast<wchar_t>(c), L'y'};
    const std::string bytes = Narrow(text);
    ASSERT_EQ(bytes.size(), 2u + (c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4)) << c;
    ASSERT_EQ(Wide(bytes), text) << c;
  }
}

TEST(Utf8, KnownTexts) {
  EXPECT_EQ(Narrow(L"\x00B5m"), "\xC2\xB5m");
  EXPECT_EQ(Narrow(L"\x20AC"), "\xE2\x82\xAC");
  EXPECT_EQ(Narrow(L"\U0001F52C"), "\xF0\x9F\x94\xAC");
  EXPECT_EQ(Wide("\xF0\x9F\x94\xAC!"), L"\U0001F52C!");
}

TEST(Utf8, NullIsEmptyAndZerosAreKept) {
  EXPECT_TRUE(CQvStringUtils::WtoUTF8(static_cast<const wchar_t*>(nullptr)).IsEmpty());
  EXPECT_TRUE(CQvStringUtils::UTF8toW(static_cast<const char*>(nullptr)).IsEmpty());
  EXPECT_EQ(Wide(std::string_view("a\0b", 3)), std::wstring(L"a\0b", 3));
  EXPECT_EQ(Narrow(std::wstring(L"\0\x00E9", 2)), std::string("\0\xC3\xA9", 3));
}

TEST(Utf8, InvalidBytesAreEscapedOneByOne) {
  const std::string kInvalid[] = {"\x80",
                                  "\xBF",
                                  "\xC0",
                                  "\xC1\xBF",
                                  "\xC0\x80",
                                  "\xE0\x80\xAF",
                                  "\xE0\x9F\xBF",
                                  "\xF0\x8F\xBF\xBF",
                                  "\xF0\x80\x80\x80",
                                  "\xED\xA0\x80",
                                  "\xED\xBF\xBF",
                                  "\xF4\x90\x80\x80",
                                  "\xF5\x80\x80\x80",
                                  "\xF8\x88\x80\x80\x80",
                                  "\xFE",
                                  "\xFF",
                                  "\xC3",
                                  "\xE2\x82",
                                  "\xF0\x9F\x94"};
  for (const std::string& bytes : kInvalid) {
    EXPECT_EQ(Wide(bytes), Escaped(bytes)) << testing::PrintToString(bytes);
    EXPECT_EQ(Wide("a" + bytes + "b"), L"a" + Escaped(bytes) + L"b");
    EXPECT_EQ(Narrow(Wide("a" + bytes + "b")), "a" + bytes + "b");
  }
}

TEST(Utf8, ACutSequenceDoesNotSwallowWhatFollows) {
  EXPECT_EQ(Wide("\xE2\x82"
                 "A"),
            Escaped("\xE2\x82") + L"A");
  EXPECT_EQ(Wide("\xC3\xC3\xA9"), Escaped("\xC3") + L"\x00E9");
}

TEST(Utf8, LoneSurrogatesHaveTheirGeneralisedForm) {
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xD800)}), "\xED\xA0\x80");
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xDC00)}), "\xED\xB0\x80");
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xDC7F)}), "\xED\xB1\xBF");
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xDC80)}), "\x80");
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xDCFF)}), "\xFF");
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xDD00)}), "\xED\xB4\x80");
}

TEST(Utf8, WhatIsNoCodePointIsReplaced) {
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0x110000)}), "\xEF\xBF\xBD");
  EXPECT_EQ(Narrow({static_cast<wchar_t>(0xFFFFFFFFu)}), "\xEF\xBF\xBD");
}

TEST(Utf8, RandomBytesComeBack) {
  std::mt19937 random(3);
  // Bytes that start, continue and break sequences, more often than chance would have it.
  const std::string kBytes = "aZ/\x7F\x80\x8F\x90\x9F\xA0\xBF\xC2\xDF\xE0\xE2\xED\xEF\xF0\xF4\xF5\xFF";
  for (int i = 0; i < 20000; ++i) {
    std::string bytes(random() % 40, '\0');
    for (char& c : bytes) c = kBytes[random() % kBytes.size()];
    ASSERT_EQ(Narrow(Wide(bytes)), bytes);
  }
}

TEST(Utf8, AsciiOfEveryLengthAndAlignment) {
  const std::string text(100, 'q');
  for (std::size_t begin = 0; begin < 9; ++begin) {
    for (std::size_t size = 0; size < 40; ++size) {
      std::string part = text.substr(begin, size);
      EXPECT_EQ(Wide(part), std::wstring(size, L'q'));
      EXPECT_EQ(Narrow(std::wstring(size, L'q')), part);
      part += "\xC3\xA9z";
      EXPECT_EQ(Narrow(Wide(part)), part);
    }
  }
}

}  // namespace
