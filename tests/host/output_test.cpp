#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::StartsWith;

// Image files, and other programs' files, are only ever read.
class OutputTest : public testing::Test {
 protected:
  OutputTest() {
    WritePng(Path("a.png"), 60, 40, kRed);
    WritePng(Path("b.png"), 60, 40, kGreen);
    m_image = ReadTextFile(Path("a.png"));
  }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  SRunResult Show(const std::string& image, const std::string& output) {
    return m_program.RunWithDatabase({"show", image, "-o", output});
  }
  SRunResult Gallery(const std::string& output) {
    return m_program.RunWithDatabase({"gallery", Path("b.png"), "-o", output});
  }
  void ExpectRefused(const SRunResult& run, const std::string& path, const std::string& content) const {
    EXPECT_EQ(run.status, 2) << run.out;
    EXPECT_THAT(run.err, HasSubstr(path));
    EXPECT_THAT(run.err, HasSubstr("choose another name"));
    EXPECT_EQ(ReadTextFile(path), content);
  }

  CProgram m_program;
  std::string m_image;  // the content of a.png
};

TEST_F(OutputTest, AnInputIsNeverReplaced) {
  std::filesystem::create_symlink(Path("a.png"), Path("link.png"));
  std::filesystem::create_hard_link(Path("a.png"), Path("hard.png"));
  std::filesystem::create_directory_symlink(m_program.Folder().Path(), Path("folder"));
  for (const char* output : {"a.png", "link.png", "hard.png", "folder/a.png"}) {
    ExpectRefused(Show(Path("a.png"), Path(output)), Path(output), m_image);
  }
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link.png")));
}

TEST_F(OutputTest, AThumbnailThatIsTheInputIsNotReplacedByItsOwn) {
  ASSERT_EQ(Show(Path("a.png"), Path("own.png")).status, 0);
  const std::string own = ReadTextFile(Path("own.png"));
  const SRunResult run = Show(Path("own.png"), Path("own.png"));
  ExpectRefused(run, Path("own.png"), own);
  EXPECT_THAT(run.err, HasSubstr("one of the images"));
}

TEST_F(OutputTest, AnImageThatIsNoInputIsNotReplacedEither) {
  ExpectRefused(Show(Path("b.png"), Path("a.png")), Path("a.png"), m_image);
  ExpectRefused(Gallery(Path("a.png")), Path("a.png"), m_image);
}

TEST_F(OutputTest, AnotherProgramsPageIsNotReplaced) {
  const std::string page = "<!DOCTYPE html>\n<html><title>mine</title></html>";
  const std::string path = m_program.Folder().MakeFile("page.html", page);
  ExpectRefused(Gallery(path), path, page);
}

TEST_F(OutputTest, WhatTheProgramWroteItReplaces) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Show(Path("a.png"), Path("out.png")).status, 0);
    EXPECT_EQ(Show(Path("a.png"), Path("out.jpg")).status, 0);
    EXPECT_EQ(Gallery(Path("page.html")).status, 0);
  }
  EXPECT_EQ(DecodePng(Path("out.png")).height, 180u);
  EXPECT_EQ(DecodeJpeg(Path("out.jpg")).height, 180u);
}

TEST_F(OutputTest, AnEmptyFileIsFilled) {
  m_program.Folder().MakeFile("out.png", "");
  EXPECT_EQ(Show(Path("a.png"), Path("out.png")).status, 0);
  EXPECT_EQ(DecodePng(Path("out.png")).height, 180u);
}

TEST_F(OutputTest, ASymbolicLinkIsWrittenThrough) {
  std::filesystem::create_symlink("target.png", Path("link.png"));
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Show(Path("a.png"), Path("link.png")).status, 0);
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link.png")));
    EXPECT_EQ(DecodePng(Path("target.png")).height, 180u);
  }
}

TEST_F(OutputTest, StandardOutputGetsNothingButTheOutput) {
  for (const char* name : {"-", "/dev/stdout"}) {
    const SRunResult picture = Show(Path("a.png"), name);
    EXPECT_EQ(picture.status, 0) << picture.err;
    EXPECT_THAT(picture.out, StartsWith("\x89PNG"));
    m_program.Folder().MakeFile("piped.png", picture.out);
    EXPECT_EQ(DecodePng(Path("piped.png")).height, 180u);
    const SRunResult page = Gallery(name);
    EXPECT_THAT(page.out, StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(page.out, testing::EndsWith("</html>\n"));
    EXPECT_THAT(page.err, HasSubstr(": 1 picture\n"));
  }
  EXPECT_TRUE(std::filesystem::is_symlink("/dev/stdout"));
  EXPECT_EQ(m_program.RunWithDatabase({"show", "--json", Path("a.png"), "-o", "-"}).status, 2);
}

TEST_F(OutputTest, ADeviceIsWrittenAndNotReplaced) {
  EXPECT_EQ(Gallery("/dev/null").status, 0);
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/null"));
}

TEST_F(OutputTest, APipeIsWrittenAndNotReplaced) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  // Open for both, so that neither end waits for the other; a thumbnail fits into the pipe's buffer.
  const int pipe = open(Path("pipe").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(pipe, 0);
  EXPECT_EQ(Show(Path("a.png"), Path("pipe")).status, 0);
  char head[4] = {};
  EXPECT_EQ(read(pipe, head, sizeof head), 4);
  EXPECT_EQ(std::string(head, 4), "\x89PNG");
  close(pipe);
  EXPECT_TRUE(std::filesystem::is_fifo(Path("pipe")));
}

TEST_F(OutputTest, AFolderIsRefused) {
  const SRunResult run = Gallery(m_program.Folder().Path());
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("is a folder"));
}

}  // namespace
