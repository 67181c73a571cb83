#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/tiff_writer.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

// A slide whose label is white, whose macro image is of a middle grey, and whose tissue is dark.
class ShowLabelTest : public testing::Test {
 protected:
  ShowLabelTest() {
    std::vector<STiffPage> pages;
    const auto add = [&](std::uint32_t width, std::uint32_t height, int grey, const std::string& description) {
      pages.push_back(MakePage<std::uint8_t>(width, height, 1, [&](auto, auto, auto) { return grey; }));
      pages.back().description = description;
    };
    add(100, 120, 255, "label 100x120");
    add(400, 300, 90, "tissue");
    add(200, 150, 130, "macro 200x150");
    WriteFile(Path("slide.tif"), WriteTiff(pages));
  }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }

  CProgram m_program;
};

TEST_F(ShowLabelTest, OnRequestOnlyAndInFullSize) {
  const SRunResult label = m_program.RunWithDatabase({"show", "--label", Path("slide.tif"), "-o", Path("label.png")});
  EXPECT_EQ(label.status, 0) << label.err;
  EXPECT_THAT(label.out, HasSubstr("100 x 120 pixels, the label; not cached"));
  EXPECT_EQ(DecodePng(Path("label.png")).left[0], 255);
  const nlohmann::json macro =
      m_program.RunWithDatabase({"show", "--macro", Path("slide.tif"), "-o", Path("macro.png"), "--json"}).Json();
  EXPECT_EQ(macro["picture"], "macro");
  EXPECT_EQ(macro["width"], 200);
  EXPECT_EQ(DecodePng(Path("macro.png")).left[0], 130);
  ASSERT_EQ(m_program.RunWithDatabase({"show", Path("slide.tif"), "-o", Path("slide.png")}).status, 0);
  EXPECT_NEAR(DecodePng(Path("slide.png")).left[0], 90, 2);
}

TEST_F(ShowLabelTest, NoDatabaseHearsOfIt) {
  ASSERT_EQ(m_program.Run({"show", "--label", Path("slide.tif"), "-o", Path("label.png")}).status, 0);
  EXPECT_FALSE(std::filesystem::exists(m_program.DefaultDatabase()));
  ASSERT_EQ(m_program.RunWithDatabase({"make", Path("slide.tif")}).status, 0);
  const std::string before = ReadTextFile(m_program.Database());
  ASSERT_EQ(m_program.RunWithDatabase({"show", "--macro", Path("slide.tif"), "-o", Path("macro.png")}).status, 0);
  EXPECT_TRUE(ReadTextFile(m_program.Database()) == before);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 1);
}

TEST_F(ShowLabelTest, SaysWhatThereIsInstead) {
  WritePng(Path("a.png"), 30, 20, kRed);
  const SRunResult none = m_program.RunWithDatabase({"show", "--label", Path("a.png"), "-o", Path("label.png")});
  EXPECT_EQ(none.status, 1);
  EXPECT_THAT(none.err, HasSubstr("a.png: holds no label"));
  EXPECT_FALSE(std::filesystem::exists(Path("label.png")));
  EXPECT_EQ(m_program.RunWithDatabase({"show", "--label", "--macro", Path("slide.tif"), "-o", Path("x.png")}).status,
            2);
  EXPECT_EQ(
      m_program.RunWithDatabase({"show", "--label", "--scale-bar", Path("slide.tif"), "-o", Path("x.png")}).status, 2);
  const SRunResult missing = m_program.RunWithDatabase({"show", "--label", Path("no.tif"), "-o", Path("x.png")});
  EXPECT_EQ(missing.status, 1);
  EXPECT_THAT(missing.err, HasSubstr("No such file"));
}

}  // namespace
