#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class ShowTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  CProgram m_program;
};

void ExpectColors(const SDecodedPicture& picture, const SRgb& color) {
  for (std::size_t i = 0; i < color.size(); ++i) {
    EXPECT_NEAR(picture.left[i], color[i] / 2, 12);
    EXPECT_NEAR(picture.right[i], color[i], 12);
  }
}

TEST_F(ShowTest, WritesPngAndJpegThatFitTheBox) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  ASSERT_EQ(m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.png")}).status, 0);
  const SDecodedPicture png = DecodePng(Path("out.png"));
  EXPECT_EQ(png.width, 360u);
  EXPECT_EQ(png.height, 180u);
  ExpectColors(png, kRed);
  ASSERT_EQ(m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.JPG"), "--quality", "high"}).status, 0);
  const SDecodedPicture jpeg = DecodeJpeg(Path("out.JPG"));
  EXPECT_EQ(jpeg.width, 480u);
  EXPECT_EQ(jpeg.height, 240u);
  ExpectColors(jpeg, kRed);
}

TEST_F(ShowTest, InASizeOfOnesOwnLeavesTheDatabaseAlone) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  const SRunResult run = m_program.RunWithDatabase({"show", "--size", "700", Path("a.png"), "-o", Path("out.png")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("700 x 350 pixels, made now; not cached"));
  EXPECT_EQ(DecodePng(Path("out.png")).width, 700u);
  EXPECT_FALSE(std::filesystem::exists(m_program.Database()));
}

TEST_F(ShowTest, InASmallerSizeIsScaledFromTheStoredThumbnail) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  m_program.RunWithDatabase({"make", Path("a.png")});
  EXPECT_THAT(m_program.RunWithDatabase({"show", "-s", "100", Path("a.png"), "-o", Path("out.png")}).out,
              HasSubstr("100 x 50 pixels, from the cache"));
  EXPECT_THAT(m_program.RunWithDatabase({"show", "-s", "500", Path("a.png"), "-o", Path("out.png")}).out,
              HasSubstr("not cached"));
}

TEST_F(ShowTest, WritesTheFormatAndQualityThatAreAskedFor) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  const auto show = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {"show", Path("a.png")});
    return m_program.RunWithDatabase(options);
  };
  ASSERT_EQ(show({"-o", Path("picture"), "--format", "jpg"}).status, 0);
  EXPECT_EQ(DecodeJpeg(Path("picture")).width, 360u);
  ASSERT_EQ(show({"-o", Path("low.jpg"), "--jpeg-quality", "10"}).status, 0);
  ASSERT_EQ(show({"-o", Path("high.jpg"), "--jpeg-quality", "98"}).status, 0);
  EXPECT_LT(std::filesystem::file_size(Path("low.jpg")), std::filesystem::file_size(Path("high.jpg")));
  EXPECT_THAT(show({"-o", Path("x.png"), "--format", "jpg"}).err, HasSubstr("says another format"));
  EXPECT_THAT(show({"-o", Path("x.png"), "--jpeg-quality", "50"}).err, HasSubstr("is for JPEG only"));
  EXPECT_FALSE(std::filesystem::exists(Path("x.png")));
}

TEST_F(ShowTest, ReadsStandardInput) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  const SRunResult run = m_program.RunUnder({"sh", "-c", "exec \"$0\" \"$@\" < '" + Path("a.png") + "'"},
                                            {"show", "-", "-o", Path("out.png"), "--json"});
  ASSERT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.Json()["source"], "standard input");
  EXPECT_EQ(DecodePng(Path("out.png")).width, 480u);
  EXPECT_FALSE(std::filesystem::exists(m_program.DefaultDatabase()));
}

TEST_F(ShowTest, TellsWhetherItWasMadeNow) {
  WritePng(Path("a.png"), 100, 50, kGreen);
  EXPECT_THAT(m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.png")}).out, HasSubstr("made now"));
  EXPECT_THAT(m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.png")}).out,
              HasSubstr("from the cache"));
  const nlohmann::json document =
      m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.png"), "--json"}).Json();
  EXPECT_EQ(document["made"], false);
  EXPECT_EQ(document["height"], 180);
}

TEST_F(ShowTest, ReplacesARowThatDoesNotDecode) {
  WritePng(Path("a.png"), 100, 50, kGreen);
  m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.png")});
  Execute(m_program.Database(), "UPDATE cache SET binData = x'FFD8'");
  const SRunResult run = m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("again.png")});
  EXPECT_EQ(run.status, 0) << run.err;
  ExpectColors(DecodePng(Path("again.png")), kGreen);
}

TEST_F(ShowTest, RefusesAnotherKindOfOutput) {
  WritePng(Path("a.png"), 10, 10, kRed);
  const SRunResult run = m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.bmp")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr(".jpg or .png"));
}

TEST_F(ShowTest, AFailureLeavesNoFile) {
  std::ofstream(Path("a.png")) << "no picture";
  const SRunResult run = m_program.RunWithDatabase({"show", Path("a.png"), "-o", Path("out.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr(Path("a.png") + ": "));
  EXPECT_FALSE(std::filesystem::exists(Path("out.png")));
}

TEST_F(ShowTest, SaysThatTheOutputCannotBeWritten) {
  WritePng(Path("a.png"), 10, 10, kRed);
  const SRunResult run = m_program.RunWithDatabase({"show", Path("a.png"), "-o", "/nonexistent/out.png"});
  EXPECT_NE(run.status, 0);
  EXPECT_THAT(run.err, HasSubstr("cannot write /nonexistent/out.png"));
}

using InfoTest = ShowTest;

TEST_F(InfoTest, TellsSizesLoopsCalibrationAndTime) {
  WriteStack(Path("stack.ome.tif"), {3, 4, 2});
  const SRunResult run = m_program.RunWithDatabase({"info", Path("stack.ome.tif")});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("64 x 48 pixels"));
  EXPECT_THAT(run.out, HasSubstr("3 time points, 4 z planes, 2 channels"));
  EXPECT_THAT(run.out, HasSubstr("0.325 µm/px"));
  EXPECT_THAT(run.out, HasSubstr("2024-05-01 12:30:00 UTC"));
}

TEST_F(InfoTest, TellsOnlyWhatIsKnown) {
  WritePng(Path("a.png"), 30, 20, kRed);
  const SRunResult run = m_program.RunWithDatabase({"info", Path("a.png")});
  EXPECT_THAT(run.out, HasSubstr("30 x 20 pixels"));
  for (const char* label : {"Loops", "Calibration", "Objective", "Acquired", "Author"}) {
    EXPECT_THAT(run.out, Not(HasSubstr(label)));
  }
}

TEST_F(InfoTest, JsonHoldsEveryField) {
  WriteStack(Path("stack.ome.tif"), {3, 4, 2});
  const nlohmann::json document = m_program.RunWithDatabase({"info", "--json", Path("stack.ome.tif")}).Json();
  ASSERT_EQ(document.size(), 1u);
  EXPECT_EQ(document[0]["file"], Path("stack.ome.tif"));
  EXPECT_EQ(document[0]["width"], 64);
  EXPECT_EQ(document[0]["height"], 48);
  EXPECT_EQ(document[0]["pixelType"], "unsigned");
  EXPECT_NEAR(document[0]["micrometresPerPixel"].get<double>(), 0.325, 1e-9);
  EXPECT_EQ(document[0]["acquired"], "2024-05-01T12:30:00Z");
  EXPECT_EQ(document[0]["loops"]["time"], 3);
  EXPECT_EQ(document[0]["loops"]["z"], 4);
  EXPECT_EQ(document[0]["loops"]["channels"], 2);
  EXPECT_EQ(document[0]["objective"], nullptr);
}

TEST_F(InfoTest, NamesAFileThatIsNoImageAndGoesOn) {
  std::ofstream(Path("no.tif")) << "text";
  WritePng(Path("a.png"), 30, 20, kRed);
  const SRunResult run = m_program.RunWithDatabase({"info", Path("no.tif"), Path("a.png"), Path("missing.png")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("30 x 20 pixels"));
  EXPECT_THAT(run.err, HasSubstr("no.tif: "));
  EXPECT_THAT(run.err, HasSubstr("missing.png: No such file or directory"));
}

// The texts that the workers have stored serve, whatever the case of the name.
TEST_F(InfoTest, TakesFoldersAndPrintsChosenFieldsAsATable) {
  const std::string folder = m_program.Folder().MakeFolder("images");
  WriteStack(folder + "/a.ome.tif", {1, 3, 2});
  WritePng(folder + "/b.png", 30, 20, kRed);
  const SRunResult table = m_program.RunWithDatabase({"info", "--fields", "width,z,file", folder});
  EXPECT_EQ(table.status, 0) << table.err;
  EXPECT_THAT(table.out, HasSubstr("width  z  file"));
  EXPECT_THAT(table.out, HasSubstr("64     3  " + folder + "/a.ome.tif"));
  const nlohmann::json document = m_program.RunWithDatabase({"info", "--json", "--fields", "height", folder}).Json();
  ASSERT_EQ(document.size(), 2u);
  EXPECT_EQ(document[1]["height"], 20);
  EXPECT_EQ(document[1].size(), 2u);
}

TEST_F(InfoTest, PrintsCommaSeparatedValues) {
  WriteStack(Path("with, comma.ome.tif"), {1, 3, 2});
  const SRunResult run = m_program.RunWithDatabase(
      {"info", "--csv", "--fields", "file,micrometresPerPixel,objective,channels", Path("with, comma.ome.tif")});
  EXPECT_EQ(run.out,
            "file,micrometresPerPixel,objective,channels\r\n\"" + Path("with, comma.ome.tif") + "\",0.325,,2\r\n");
  EXPECT_THAT(m_program.RunWithDatabase({"info", "--csv", Path("with, comma.ome.tif")}).out,
              testing::StartsWith("file,width,height,components,"));
}

TEST_F(InfoTest, NamesTheFieldsWhenOneIsWrong) {
  WritePng(Path("b.png"), 30, 20, kRed);
  const SRunResult run = m_program.RunWithDatabase({"info", "--fields", "widht", Path("b.png")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("there is no field 'widht'. Did you mean 'width'? The fields are file, width, "));
}

TEST_F(InfoTest, UsesTheTextsThatMakeHasStored) {
  WritePng(Path("Upper.PNG"), 30, 20, kRed);
  ASSERT_EQ(m_program.RunWithDatabase({"make", Path("Upper.PNG")}).status, 0);
  Execute(m_program.Database(), "UPDATE metadata SET M_author = 'from the database'");
  EXPECT_THAT(m_program.RunWithDatabase({"info", Path("Upper.PNG")}).out, HasSubstr("from the database"));
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM metadata"), 1);
}

TEST_F(InfoTest, WorksWithoutItsOwnDatabase) {
  WritePng(Path("a.png"), 30, 20, kRed);
  m_program.SetEnvironment("XDG_CACHE_HOME=/proc/nothing");
  const SRunResult run = m_program.Run({"info", Path("a.png")});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("30 x 20 pixels"));
  EXPECT_THAT(run.err, HasSubstr("without a database"));
}

}  // namespace
