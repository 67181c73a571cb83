#include "host/output/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

#include "host/output/html.h"

namespace qvhost {
namespace {

TEST(TextTest, ControlCharactersCannotSteerTheTerminal) {
  EXPECT_EQ(Printable(std::string_view("a\x1b[2J\nb\x7f")), "a\\x1B[2J\\x0Ab\\x7F");
  EXPECT_EQ(PrintableLines(CQvStringW(L"one\r\ntwo\tthree\n")), "one\ntwo\\x09three\n");
  EXPECT_EQ(Printable(std::string_view("Zellkörper µm")), "Zellkörper µm");
}

TEST(TextTest, ControlsOfTheSecondSetCannotEither) {
  EXPECT_EQ(Printable(std::string_view("a\xC2\x9B"
                                       "2J")),
            "a\\xC2\\x9B2J");
  EXPECT_EQ(Printable(std::string_view("a\x9B"
                                       "2J")),
            "a\\x9B2J");
  EXPECT_EQ(Printable(std::string_view("\xC2\xA0\xC3\xBC")), "\xC2\xA0\xC3\xBC");
}

TEST(TextTest, ANameThatIsNoUtf8ComesBack) {
  for (const std::string name :
       {"plain \\x41.tif", "caf\xE9.tif", "caf\xE9 \\x41.tif", "\xFF\\", "Zellk\xC3\xB6rper"}) {
    const std::string escaped = EscapeInvalidUtf8(name);
    const bool isValid = escaped == name;
    EXPECT_EQ(isValid ? name : UnescapeBytes(escaped), name);
  }
  EXPECT_EQ(EscapeInvalidUtf8("caf\xE9.tif"), "caf\\xE9.tif");
  EXPECT_EQ(UnescapeBytes("a\\xZZ\\x4"), "a\\xZZ\\x4");
}

TEST(TextTest, CountsAreGrouped) {
  EXPECT_EQ(FormatCount(0), "0");
  EXPECT_EQ(FormatCount(999), "999");
  EXPECT_EQ(FormatCount(1000), "1,000");
  EXPECT_EQ(FormatCount(1234567), "1,234,567");
  EXPECT_EQ(FormatCount(-123456), "-123,456");
  EXPECT_EQ(FormatCount(std::numeric_limits<std::int64_t>::min()), "-9,223,372,036,854,775,808");
}

TEST(TextTest, BytesHaveThreeDigitsAndAUnit) {
  EXPECT_EQ(FormatBytes(0), "0 bytes");
  EXPECT_EQ(FormatBytes(999), "999 bytes");
  EXPECT_EQ(FormatBytes(1000), "1 kB");
  EXPECT_EQ(FormatBytes(12345678), "12.3 MB");
  EXPECT_EQ(FormatBytes(999999), "1 MB");
  EXPECT_EQ(FormatBytes(5000000000000), "5 TB");
}

TEST(TextTest, DurationsAreReadable) {
  EXPECT_EQ(FormatDuration(0.451), "0.45 s");
  EXPECT_EQ(FormatDuration(12.4), "12 s");
  EXPECT_EQ(FormatDuration(200), "3 min 20 s");
  EXPECT_EQ(FormatDuration(3720), "1 h 02 min");
  EXPECT_EQ(FormatDuration(59.7), "1 min 00 s");
}

TEST(TextTest, ALongListTellsHowManyEntriesItLeavesOut) {
  EXPECT_EQ(FormatOmitted(kMaxListed, "folders"), "");
  EXPECT_EQ(FormatOmitted(kMaxListed + 1234, "folders"), "… and 1,234 more folders");
}

TEST(TextTest, ColumnsAreAlignedByCharactersNotBytes) {
  CTable table({"N", "Name", "End"}, {true, false, false});
  table.Add({"1", "µm", "x"});
  table.Add({"100", "name", "y"});
  testing::internal::CaptureStdout();
  table.Print();
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "  N  Name  End\n"
            "  1  µm    x\n"
            "100  name  y\n");
}

TEST(HtmlTest, NamesCannotBecomeMarkup) {
  EXPECT_EQ(HtmlText("<b a=\"1\">&'"), "&lt;b a=&quot;1&quot;&gt;&amp;'");
  EXPECT_EQ(HtmlText("bad\xFF"), "bad\xEF\xBF\xBD");
}

TEST(HtmlTest, FileUrlsKeepEveryByte) {
  EXPECT_EQ(FileUrl("/a b/\xC3\xBC#?%\xFF.tif"), "file:///a%20b/%C3%BC%23%3F%25%FF.tif");
}

// The vectors of RFC 4648, section 10.
TEST(HtmlTest, Base64) {
  EXPECT_EQ(Base64(""), "");
  EXPECT_EQ(Base64("f"), "Zg==");
  EXPECT_EQ(Base64("fo"), "Zm8=");
  EXPECT_EQ(Base64("foo"), "Zm9v");
  EXPECT_EQ(Base64("foob"), "Zm9vYg==");
  EXPECT_EQ(Base64("fooba"), "Zm9vYmE=");
  EXPECT_EQ(Base64("foobar"), "Zm9vYmFy");
  EXPECT_EQ(Base64(std::string_view("\xFF\xFE\xFD", 3)), "//79");
}

}  // namespace
}  // namespace qvhost
