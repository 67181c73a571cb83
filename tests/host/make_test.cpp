#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class MakeTest : public testing::Test {
 protected:
  MakeTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  std::string Image(const std::string& name) const { return m_images + "/" + name; }
  std::string WriteImage(const std::string& name, const SRgb& color = kRed) const {
    WritePng(Image(name), 96, 64, color);
    return Image(name);
  }
  SRunResult Make(std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"make", m_images});
    return m_program.RunWithDatabase(more);
  }
  nlohmann::json MakeJson(std::vector<std::string> more = {}) {
    more.push_back("--json");
    return Make(more).Json();
  }
  void SetTime(const std::string& path, std::time_t seconds) const {
    const timespec times[2] = {{seconds, 0}, {seconds, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  }
  std::int64_t Rows() const { return QueryInt(m_program.Database(), "SELECT count(*) FROM cache"); }

  CProgram m_program;
  const std::string m_images;
};

TEST_F(MakeTest, MakesEachThumbnailOnce) {
  for (int i = 0; i < 5; ++i) WriteImage("img" + std::to_string(i) + ".png");
  const SRunResult first = Make();
  EXPECT_EQ(first.status, 0) << first.err;
  EXPECT_THAT(first.out, HasSubstr("made 5, already cached 0, failed 0 in "));
  EXPECT_EQ(Rows(), 5);
  const SRunResult second = Make();
  EXPECT_EQ(second.status, 0) << second.err;
  EXPECT_THAT(second.out, HasSubstr("made 0, already cached 5, failed 0 in "));
}

TEST_F(MakeTest, GoesIntoFoldersWhenAsked) {
  WriteImage("top.png");
  std::filesystem::create_directories(Image("below/deeper"));
  WriteImage("below/deeper/low.png");
  EXPECT_EQ(MakeJson()["made"], 1);
  EXPECT_EQ(MakeJson({"--recursive"})["made"], 1);
  EXPECT_EQ(Rows(), 2);
}

TEST_F(MakeTest, SaysThatThereIsNothingToDo) {
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.err, HasSubstr("no image files there; --recursive"));
  EXPECT_THAT(run.out, HasSubstr("made 0, already cached 0, failed 0"));
}

TEST_F(MakeTest, NamesEveryFailedFileAndKeepsGoing) {
  WriteImage("a.png");
  std::ofstream(Image("b.tif")) << "this is no image";
  std::ofstream(Image("c.jpg"));
  WriteImage("d.png");
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("made 2, already cached 0, failed 2"));
  EXPECT_THAT(run.err, HasSubstr("failed: " + Image("b.tif") + ": "));
  EXPECT_THAT(run.err, HasSubstr("failed: " + Image("c.jpg") + ": "));
  EXPECT_EQ(Rows(), 2);
}

TEST_F(MakeTest, ReportsFailuresInJson) {
  WriteImage("a.png");
  std::ofstream(Image("b.tif")) << "this is no image";
  const SRunResult run = Make({"--json"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "");
  const nlohmann::json document = run.Json();
  EXPECT_EQ(document["made"], 1);
  EXPECT_EQ(document["failed"], 1);
  EXPECT_EQ(document["failures"][0]["file"], Image("b.tif"));
  EXPECT_NE(document["failures"][0]["reason"], "");
  EXPECT_EQ(document["interrupted"], false);
}

TEST_F(MakeTest, ATruncatedPictureFailsAndLeavesNoRow) {
  const std::string path = WriteImage("cut.png");
  std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
  EXPECT_EQ(MakeJson()["failed"], 1);
  EXPECT_EQ(Rows(), 0);
}

TEST_F(MakeTest, AFileThatCannotBeFoundIsNamed) {
  const SRunResult run = m_program.RunWithDatabase({"make", Image("missing.tif")});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("missing.tif: no such file or folder"));
}

TEST_F(MakeTest, AFifoIsRefusedWithoutWaiting) {
  ASSERT_EQ(mkfifo(Image("pipe.png").c_str(), 0600), 0);
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("is not a regular file"));
}

TEST_F(MakeTest, AChangedFileIsRemadeOnce) {
  const std::string path = WriteImage("a.png", kRed);
  WriteImage("b.png", kRed);
  ASSERT_EQ(MakeJson()["made"], 2);
  const std::string before =
      QueryText(m_program.Database(), "SELECT lastWritten FROM cache WHERE filename LIKE '%a.png'");
  WriteImage("a.png", kGreen);
  // Later than the file's birth, which counts too.
  SetTime(path, std::time(nullptr) + 3600);
  const nlohmann::json second = MakeJson();
  EXPECT_EQ(second["made"], 1);
  EXPECT_EQ(second["alreadyCached"], 1);
  EXPECT_EQ(Rows(), 2);
  EXPECT_NE(QueryText(m_program.Database(), "SELECT lastWritten FROM cache WHERE filename LIKE '%a.png'"), before);
  EXPECT_EQ(MakeJson()["alreadyCached"], 2);
  const std::string shown = m_program.Folder().Path("a-shown.png");
  ASSERT_EQ(m_program.RunWithDatabase({"show", path, "-o", shown}).status, 0);
  EXPECT_NEAR(DecodePng(shown).right[1], kGreen[1], 12);
}

TEST_F(MakeTest, InPlaceItMakesTheSame) {
  for (int i = 0; i < 3; ++i) WriteImage("img" + std::to_string(i) + ".png");
  EXPECT_EQ(MakeJson({"--sync"})["made"], 3);
  EXPECT_EQ(MakeJson({"--sync"})["alreadyCached"], 3);
  WriteImage("img0.png", kGreen);
  SetTime(Image("img0.png"), std::time(nullptr) + 3600);
  EXPECT_EQ(MakeJson({"--sync"})["made"], 1);
}

TEST_F(MakeTest, HighQualityIsKeptBesideStandard) {
  WritePng(Image("large.png"), 1280, 480, kRed);
  EXPECT_EQ(MakeJson()["made"], 1);
  EXPECT_EQ(MakeJson({"--quality", "high"})["made"], 1);
  EXPECT_EQ(MakeJson({"--quality", "high"})["alreadyCached"], 1);
  EXPECT_EQ(MakeJson()["alreadyCached"], 1);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache WHERE flags = 1 AND quality = 1"), 1);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache WHERE flags = 0 AND quality = 0"), 1);
}

TEST_F(MakeTest, MoreFilesThanAreOnTheirWayAtOnce) {
  for (int i = 0; i < 150; ++i) WritePng(Image("img" + std::to_string(i) + ".png"), 8, 8, kRed);
  const nlohmann::json document = MakeJson();
  EXPECT_EQ(document["made"], 150);
  EXPECT_EQ(document["failed"], 0);
  EXPECT_EQ(Rows(), 150);
}

TEST_F(MakeTest, NamesOfAnyBytesAreKept) {
  for (const char* name : {"Zell\xC3\xA4.PNG", "bad\xFF\xFE.png", "UPPER.PNG", "a b'c\".png", "\xF0\x9F\x94\xAC.png"}) {
    WriteImage(name);
  }
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("made 5,"));
  EXPECT_THAT(Make().out, HasSubstr("already cached 5,"));
}

TEST_F(MakeTest, OfTwoNamesThatDifferInCaseOneIsRefused) {
  WriteImage("a.png", kRed);
  WriteImage("A.png", kGreen);
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("made 1, already cached 0, failed 1"));
  EXPECT_THAT(run.err, HasSubstr("differs from"));
}

TEST_F(MakeTest, CreatesTheUsersOwnDatabaseInWriteAheadMode) {
  WriteImage("a.png");
  const SRunResult run = m_program.Run({"make", m_images});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(QueryText(m_program.DefaultDatabase(), "PRAGMA journal_mode"), "wal");
  EXPECT_EQ(QueryInt(m_program.DefaultDatabase(), "SELECT count(*) FROM cache"), 1);
}

TEST_F(MakeTest, HonoursTheCacheFolderOfTheEnvironment) {
  WriteImage("a.png");
  m_program.SetEnvironment("XDG_CACHE_HOME=" + m_program.Folder().Path("caches"));
  EXPECT_EQ(m_program.Run({"make", m_images}).status, 0);
  EXPECT_EQ(QueryInt(m_program.Folder().Path("caches/qvthumbs/OrbThumbCache.db"), "SELECT count(*) FROM cache"), 1);
}

TEST_F(MakeTest, KeepsTheJournalModeOfADatabaseThatExists) {
  WriteImage("a.png");
  Execute(m_program.Database(),
          "PRAGMA journal_mode=DELETE; CREATE TABLE stored (storedID INTEGER, storedParentID "
          "INTEGER, filename TEXT, flags INTEGER, PRIMARY KEY (storedID))");
  EXPECT_EQ(MakeJson()["made"], 1);
  EXPECT_EQ(QueryText(m_program.Database(), "PRAGMA journal_mode"), "delete");
}

TEST_F(MakeTest, LeavesNoJournalBehind) {
  WriteImage("a.png");
  Make();
  EXPECT_FALSE(std::filesystem::exists(m_program.Database() + "-wal"));
}

// A row that does not decode is replaced by whoever asks the service for it.
TEST_F(MakeTest, ARowOfWhatTheFileWasIsReplaced) {
  WriteImage("a.png");
  Make();
  Execute(m_program.Database(), "UPDATE cache SET lastWritten = 1.0, binData = x'00'");
  EXPECT_EQ(MakeJson()["made"], 1);
  EXPECT_EQ(Rows(), 1);
  EXPECT_GT(QueryInt(m_program.Database(), "SELECT length(binData) FROM cache"), 100);
}

TEST_F(MakeTest, SaysThatTheDatabaseTookNothing) {
  WriteImage("a.png");
  Make();
  Execute(m_program.Database(),
          "DROP TABLE cache; CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB, quality "
          "INTEGER, room TEXT NOT NULL)");
  const SRunResult run = Make();
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("the database did not take it"));
  EXPECT_THAT(run.err, HasSubstr("NOT NULL constraint failed: cache.room"));
}

TEST_F(MakeTest, InterruptedItStopsCleanlyAndLosesNothing) {
  WritePng(Image("img.png"), 600, 400, kRed);
  for (int i = 1; i < 200; ++i) std::filesystem::copy_file(Image("img.png"), Image("img" + std::to_string(i) + ".png"));
  Execute(m_program.Database(), "PRAGMA journal_mode=WAL");
  CProgram::CProcess run(m_program, {"make", m_images, "--json", "--db", m_program.Database()});
  // Once the first thumbnail is stored the work is under way.
  for (int i = 0; i < 3000; ++i) {
    if (QueryInt(m_program.Database(), "SELECT count(*) FROM sqlite_master WHERE name = 'cache'") == 1 && Rows() > 0)
      break;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  run.Signal(SIGINT);
  const SRunResult result = run.Wait();
  EXPECT_EQ(result.status, 130) << result.err;
  const nlohmann::json document = result.Json();
  EXPECT_EQ(document["interrupted"], true);
  EXPECT_EQ(document["failed"], 0);
  EXPECT_EQ(document["made"], Rows());
  const nlohmann::json second = MakeJson();
  EXPECT_EQ(second["alreadyCached"], document["made"]);
  EXPECT_EQ(Rows(), 200);
}

TEST_F(MakeTest, TwoProgramsCanFillOneDatabase) {
  WritePng(Image("img.png"), 16, 16, kRed);
  for (int i = 1; i < 200; ++i) std::filesystem::copy_file(Image("img.png"), Image("img" + std::to_string(i) + ".png"));
  ASSERT_EQ(m_program.RunWithDatabase({"stored", "add", "x"}).status, 0);
  const std::vector<std::string> arguments = {"make", m_images, "--json", "--db", m_program.Database()};
  CProgram::CProcess first(m_program, arguments), second(m_program, arguments);
  for (const SRunResult& result : {first.Wait(), second.Wait()}) {
    const nlohmann::json document = result.Json();
    EXPECT_EQ(document["failed"], 0) << document;
    EXPECT_EQ(document["made"].get<int>() + document["alreadyCached"].get<int>(), 200);
  }
  EXPECT_EQ(Rows(), 200);
}

TEST_F(MakeTest, PrintsNoProgressWithoutATerminalWhileItIsQuick) {
  for (int i = 0; i < 40; ++i) WritePng(Image("img" + std::to_string(i) + ".png"), 8, 8, kRed);
  EXPECT_EQ(Make().err, "");
}

TEST_F(MakeTest, QuietlyPrintsNothingButFailures) {
  WritePng(Image("a.png"), 8, 8, kRed);
  std::ofstream(Image("no.png")) << "no image";
  const SRunResult run = m_program.RunWithDatabase({"make", "--quiet", m_images});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.out, "");
  EXPECT_THAT(run.err, HasSubstr("failed: " + Image("no.png") + ": "));
  EXPECT_EQ(std::count(run.err.begin(), run.err.end(), '\n'), 1);
}

TEST_F(MakeTest, LeavesOutWhatIsExcluded) {
  std::filesystem::create_directories(m_images + "/old/deep");
  std::filesystem::create_directories(m_images + "/new");
  for (const char* name : {"a.png", "a_raw.png", "old/b.png", "old/deep/c.png", "new/d.png", "new/e.png"}) {
    WritePng(Image(name), 8, 8, kRed);
  }
  const auto made = [&](std::vector<std::string> options) {
    options.insert(options.begin(), {"make", "--json", "--recursive", m_images});
    return m_program.RunWithDatabase(options).Json()["made"].get<int>();
  };
  EXPECT_EQ(made({"--exclude", "*_raw.png", "--exclude", "old", "--exclude", "new/e.*"}), 2);
  EXPECT_EQ(QueryText(m_program.Database(), "SELECT group_concat(substr(filename, -5), ' ') FROM cache ORDER BY 1"),
            "a.png d.png");
  EXPECT_EQ(made({"--exclude=*"}), 0);
  EXPECT_EQ(made({"--exclude", "images"}), 4);  // a folder that is named is walked all the same
}

TEST_F(MakeTest, DrawsABarOnATerminal) {
  const int probe = posix_openpt(O_RDWR | O_NOCTTY);
  if (probe < 0) GTEST_SKIP() << "this machine has no pseudo-terminals";
  close(probe);
  for (int i = 0; i < 20; ++i) WritePng(Image("img" + std::to_string(i) + ".png"), 8, 8, kRed);
  std::ofstream(Image("no.png")) << "no image";
  const SRunResult run = m_program.RunOnTerminal({"make", m_images, "--db", m_program.Database()});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("\r\x1b[K█"));
  EXPECT_THAT(run.err, HasSubstr("100%  21 of 21"));
  // The failure stands on a line of its own, and the bar is gone at the end.
  EXPECT_THAT(run.err, HasSubstr("\r\x1b[Kfailed: " + Image("no.png") + ": "));
  EXPECT_THAT(run.err, testing::EndsWith("\r\x1b[K"));
  EXPECT_THAT(run.out, HasSubstr("made 20, "));
}

TEST_F(MakeTest, ABarNeverWrapsInANarrowTerminal) {
  const int probe = posix_openpt(O_RDWR | O_NOCTTY);
  if (probe < 0) GTEST_SKIP() << "this machine has no pseudo-terminals";
  close(probe);
  for (int i = 0; i < 20; ++i) WritePng(Image("image number " + std::to_string(i) + ".png"), 8, 8, kRed);
  for (const unsigned short columns : std::initializer_list<unsigned short>{10, 24, 40, 60}) {
    const SRunResult run = m_program.RunOnTerminal({"make", m_images, "--db", m_program.Database()}, columns);
    std::istringstream drawn(run.err);
    for (std::string line; std::getline(drawn, line, '\r');) {
      const auto characters = std::count_if(line.begin(), line.end(), [](char c) { return (c & 0xC0) != 0x80; });
      EXPECT_LT(characters, columns + 3) << line;  // the sequence that empties the line takes three and no room
    }
    EXPECT_THAT(run.err, HasSubstr("%"));
  }
}

}  // namespace
