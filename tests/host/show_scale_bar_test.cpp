#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/host/support/gallery.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class ShowScaleBarTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  SRunResult Show(const std::string& file, std::vector<std::string> more) {
    more.insert(more.begin(), {"show", Path(file), "-o", Path("out.png")});
    return m_program.RunWithDatabase(more);
  }

  CProgram m_program;
};

// 64 pixels of 0.325 micrometres are 20.8.
TEST_F(ShowScaleBarTest, IsARoundPartOfTheCalibratedWidth) {
  WriteStack(Path("stack.ome.tif"), {});
  const SRunResult run = Show("stack.ome.tif", {"--scale-bar"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("scale bar 5 µm"));
  const nlohmann::json document = Show("stack.ome.tif", {"--scale-bar", "--json"}).Json();
  EXPECT_EQ(document["scaleBar"]["micrometres"], 5.0);
  EXPECT_NEAR(document["scaleBar"]["shareOfWidth"].get<double>(), 5.0 / 20.8, 1e-9);
}

TEST_F(ShowScaleBarTest, OneMayChooseItsLength) {
  WriteStack(Path("stack.ome.tif"), {});
  EXPECT_THAT(Show("stack.ome.tif", {"--scale-bar-length", "7.5um"}).out, HasSubstr("scale bar 7.5 µm"));
  EXPECT_THAT(Show("stack.ome.tif", {"--scale-bar-length", "1mm"}).out,
              HasSubstr("no scale bar: 1 mm is more than the picture's 20.8 µm"));
  const SRunResult wrong = Show("stack.ome.tif", {"--scale-bar-length", "long"});
  EXPECT_EQ(wrong.status, 2);
  EXPECT_THAT(wrong.err, HasSubstr("'long' is no length"));
}

TEST_F(ShowScaleBarTest, SaysThatThereIsNone) {
  WritePng(Path("a.png"), 100, 50, kRed);
  const SRunResult run = Show("a.png", {"--scale-bar"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("no scale bar: the file does not say how large its pixels are"));
  EXPECT_EQ(Show("a.png", {"--scale-bar", "--json"}).Json()["scaleBar"], nullptr);
  EXPECT_EQ(DecodePng(Path("out.png")).width, 360u);
}

TEST_F(ShowScaleBarTest, TheCacheKeepsThePictureWithoutIt) {
  WriteStack(Path("stack.ome.tif"), {});
  // The first one is shown before it has been a JPEG stream.
  for (int i = 0; i < 2; ++i) Show("stack.ome.tif", {});
  const std::string before = ReadTextFile(Path("out.png"));
  Show("stack.ome.tif", {"--scale-bar"});
  EXPECT_TRUE(ReadTextFile(Path("out.png")) != before);
  EXPECT_THAT(Show("stack.ome.tif", {}).out, Not(HasSubstr("scale bar")));
  EXPECT_TRUE(ReadTextFile(Path("out.png")) == before);
}

TEST_F(ShowScaleBarTest, OfARecordItIsThatOfItsPicture) {
  const std::string library = Path("lab.qvlib");
  WriteStack(Path("stack.ome.tif"), {});
  ASSERT_EQ(m_program.Run({"import", "--library", library, Path("stack.ome.tif")}).status, 0);
  const SRunResult run =
      m_program.RunWithDatabase({"show", "--library", library, "--record", "1", "-o", Path("out.png"), "--scale-bar"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("scale bar 5 µm"));
}

TEST_F(ShowScaleBarTest, TellsThatItMeasuresAlongTheWidthOnly) {
  WriteStack(Path("stack.ome.tif"), {});
  std::string bytes = ReadTextFile(Path("stack.ome.tif"));
  const std::string square = "PhysicalSizeY=\"0.325\"";
  bytes.replace(bytes.find(square), square.size(), "PhysicalSizeY=\"0.650\"");
  WriteFile(Path("flat.ome.tif"), SFileBytes(bytes.begin(), bytes.end()));
  EXPECT_THAT(Show("flat.ome.tif", {"--scale-bar"}).out, HasSubstr("scale bar 5 µm, along the width only"));
}

TEST_F(ShowScaleBarTest, TheGalleryLaysOneOverEachCalibratedPicture) {
  const std::string images = m_program.Folder().MakeFolder("images");
  WriteStack(images + "/stack.ome.tif", {});
  WritePng(images + "/plain.png", 60, 40, kGreen);
  ASSERT_EQ(m_program.RunWithDatabase({"gallery", images, "-o", Path("page.html")}).status, 0);
  const SGalleryPage page(ReadTextFile(Path("page.html")));
  EXPECT_EQ(page.Card("stack.ome.tif")["bar"], (nlohmann::json{{"share", 0.2404}, {"label", "5 µm"}}));
  EXPECT_FALSE(page.Card("plain.png").contains("bar"));
}

}  // namespace
