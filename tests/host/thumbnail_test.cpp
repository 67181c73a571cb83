#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

// The program as a file manager calls it.
class ThumbnailTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  SRunResult Make(const std::string& size, const std::string& input, const std::string& output) {
    return m_program.Run({"thumbnail", "-s", size, input, output});
  }
  CProgram m_program;
};

TEST_F(ThumbnailTest, FitsTheSquareAndIsNeverEnlarged) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  ASSERT_EQ(Make("128", Path("a.png"), Path("small.png")).status, 0);
  EXPECT_EQ(DecodePng(Path("small.png")).width, 128u);
  EXPECT_EQ(DecodePng(Path("small.png")).height, 64u);
  ASSERT_EQ(Make("1024", Path("a.png"), Path("large.png")).status, 0);
  EXPECT_EQ(DecodePng(Path("large.png")).width, 1000u);
  EXPECT_NEAR(DecodePng(Path("large.png")).right[0], kRed[0], 3);
}

TEST_F(ThumbnailTest, SaysNothingAndMakesNoDatabase) {
  WritePng(Path("a.png"), 100, 50, kRed);
  const SRunResult run = Make("128", Path("a.png"), Path("out.png"));
  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.out + run.err, "");
  EXPECT_FALSE(std::filesystem::exists(m_program.DefaultDatabase()));
}

TEST_F(ThumbnailTest, IsWrittenIntoTheFileThatTheCallerHasOpen) {
  WritePng(Path("a.png"), 100, 50, kRed);
  m_program.Folder().MakeFile("out.png", "");
  const int file = open(Path("out.png").c_str(), O_RDONLY | O_CLOEXEC);
  ASSERT_EQ(Make("128", Path("a.png"), Path("out.png")).status, 0);
  char head[4] = {};
  EXPECT_EQ(pread(file, head, sizeof head, 0), 4);
  EXPECT_EQ(std::string(head, 4), "\x89PNG");
  close(file);
  // Shorter than what was there.
  const auto before = std::filesystem::file_size(Path("out.png"));
  ASSERT_EQ(Make("8", Path("a.png"), Path("out.png")).status, 0);
  EXPECT_LT(std::filesystem::file_size(Path("out.png")), before);
  EXPECT_EQ(DecodePng(Path("out.png")).width, 8u);
}

TEST_F(ThumbnailTest, TakesFileUris) {
  WritePng(Path("a b%.png"), 100, 50, kRed);
  const std::string escaped = m_program.Folder().Path() + "/a%20b%25.png";
  for (const char* start : {"file://", "file:", "file://localhost"}) {
    const SRunResult run = Make("64", start + escaped, Path("out.png"));
    EXPECT_EQ(run.status, 0) << start << run.err;
  }
  const SRunResult away = Make("64", "file://elsewhere" + escaped, Path("out.png"));
  EXPECT_EQ(away.status, 1);
  EXPECT_THAT(away.err, HasSubstr("is a file of another machine"));
  EXPECT_THAT(Make("64", "sftp://elsewhere/a.png", Path("out.png")).err, HasSubstr("is no file of this machine"));
  EXPECT_THAT(Make("64", "file:///a%2", Path("out.png")).err, HasSubstr("is no well-formed URI"));
  EXPECT_THAT(Make("64", "file:///a%00b", Path("out.png")).err, HasSubstr("is no well-formed URI"));
}

TEST_F(ThumbnailTest, GoesThroughPipes) {
  WritePng(Path("a.png"), 100, 50, kRed);
  const SRunResult run =
      m_program.RunUnder({"sh", "-c", "\"$@\" < '" + Path("a.png") + "' | cat > '" + Path("out.png") + "'", "sh"},
                         {"thumbnail", "-s", "64", "-", "-"});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(DecodePng(Path("out.png")).width, 64u);
}

TEST_F(ThumbnailTest, OfWhatIsNoImageIsRefusedWithTheReasonAndNothingIsWritten) {
  m_program.Folder().MakeFile("notes.tif", "no picture at all");
  m_program.Folder().MakeFile("out.png", "");
  const SRunResult run = Make("64", Path("notes.tif"), Path("out.png"));
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("qvthumbs: " + Path("notes.tif") + ": "));
  EXPECT_EQ(std::filesystem::file_size(Path("out.png")), 0u);
  EXPECT_THAT(Make("64", Path("missing.tif"), Path("out.png")).err, HasSubstr("No such file"));
  EXPECT_THAT(Make("64", m_program.Folder().Path(), Path("out.png")).err, HasSubstr("is a folder"));
}

TEST_F(ThumbnailTest, OverAFileOfAnotherProgramIsRefused) {
  WritePng(Path("a.png"), 100, 50, kRed);
  m_program.Folder().MakeFile("out.png", "mine");
  EXPECT_EQ(Make("64", Path("a.png"), Path("out.png")).status, 2);
  EXPECT_EQ(ReadTextFile(Path("out.png")), "mine");
  EXPECT_EQ(Make("64", Path("a.png"), Path("a.png")).status, 2);
}

TEST_F(ThumbnailTest, IsScaledFromTheStoredOneThatIsLargeEnough) {
  WritePng(Path("red.png"), 2000, 1000, kRed);
  WritePng(Path("green.png"), 2000, 1000, kGreen);
  ASSERT_EQ(m_program.Run({"make", Path("red.png"), Path("green.png")}).status, 0);
  // Where the picture comes from shows in its colour.
  Execute(m_program.DefaultDatabase(),
          "UPDATE cache SET binData = (SELECT binData FROM cache WHERE filename LIKE '%green.png') "
          "WHERE filename LIKE '%red.png'");
  ASSERT_EQ(Make("128", Path("red.png"), Path("small.png")).status, 0);
  EXPECT_EQ(DecodePng(Path("small.png")).width, 128u);
  EXPECT_NEAR(DecodePng(Path("small.png")).right[1], kGreen[1], 12);
  ASSERT_EQ(Make("512", Path("red.png"), Path("large.png")).status, 0);
  EXPECT_EQ(DecodePng(Path("large.png")).width, 512u);
  EXPECT_NEAR(DecodePng(Path("large.png")).right[0], kRed[0], 12);
}

TEST_F(ThumbnailTest, OfAChangedFileIsNotScaledFromTheStoredOne) {
  WritePng(Path("a.png"), 1000, 500, kRed);
  ASSERT_EQ(m_program.Run({"make", Path("a.png")}).status, 0);
  WritePng(Path("a.png"), 1000, 500, kGreen);
  ASSERT_EQ(Make("128", Path("a.png"), Path("out.png")).status, 0);
  EXPECT_NEAR(DecodePng(Path("out.png")).right[1], kGreen[1], 3);
}

TEST_F(ThumbnailTest, OutOfRangeOrIncompleteIsWrongUse) {
  WritePng(Path("a.png"), 100, 50, kRed);
  for (const char* size : {"0", "1025", "-1", "x"}) EXPECT_EQ(Make(size, Path("a.png"), Path("out.png")).status, 2);
  EXPECT_EQ(m_program.Run({"thumbnail", Path("a.png")}).status, 2);
  EXPECT_EQ(m_program.Run({"thumbnail"}).status, 2);
}

}  // namespace
