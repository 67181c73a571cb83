// Lists of files, and the making of shards.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include <fcntl.h>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::ElementsAre;
using testing::HasSubstr;

class MakeShardsTest : public testing::Test {
 protected:
  std::string WriteImage(const std::string& name) const {
    const std::string path = m_program.Folder().Path("images/" + name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WritePng(path, 96, 64, kRed);
    return path;
  }
  // Folders with two pictures each.
  void WriteFolders(int count) {
    for (int i = 0; i < count; ++i) {
      const std::string folder = "set" + std::to_string(i);
      for (const char* name : {"/a.png", "/b.png"}) m_list += WriteImage(folder + name) + "\n";
    }
  }
  std::string List() const { return m_program.Folder().MakeFile("list.txt", m_list); }
  SRunResult MakeShard(const std::string& shard, std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"make", "--files-from", List(), "--shard", shard});
    return m_program.RunWithDatabase(more);
  }
  std::string Shard(const std::string& which) const { return m_program.Folder().Path("cache." + which + ".db"); }
  nlohmann::json Manifest(const std::string& which) const {
    return nlohmann::json::parse(ReadTextFile(Shard(which) + ".manifest.json"), nullptr, false);
  }
  static std::int64_t Rows(const std::string& database) { return QueryInt(database, "SELECT count(*) FROM cache"); }

  CProgram m_program;
  std::string m_list;
};

TEST_F(MakeShardsTest, MakesTheFilesOfAList) {
  m_list = WriteImage("b/second.png") + "\n" + WriteImage("a/first.png") + "\n";
  WriteImage("a/not listed.png");
  const SRunResult run = m_program.RunWithDatabase({"make", "--files-from", List()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("made 2, already cached 0, failed 0"));
}

TEST_F(MakeShardsTest, MakesTheFilesOfAListFromStandardInput) {
  const std::string first = WriteImage("a\nb.png"), second = WriteImage("c.png");
  const std::string script = "printf '%s\\0' '" + first + "' '" + second + "' | \"$@\" ";
  const SRunResult run =
      m_program.RunUnder({"sh", "-c", script, "sh"}, {"make", "--files-from", "-", "--db", m_program.Database()});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Rows(m_program.Database()), 2);
}

TEST_F(MakeShardsTest, NamesWhatIsListedAndNotThere) {
  m_list =
      WriteImage("a.png") + "\n" + m_program.Folder().Path("missing.png") + "\n" + m_program.Folder().Path() + "\n";
  const SRunResult run = m_program.RunWithDatabase({"make", "--files-from", List()});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("missing.png: No such file or directory"));
  EXPECT_THAT(run.err, HasSubstr(m_program.Folder().Path() + ": is a folder"));
}

TEST_F(MakeShardsTest, AListThatIsNotThereIsWrongUse) {
  const SRunResult run = m_program.RunWithDatabase({"make", "--files-from", m_program.Folder().Path("none.txt")});
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("none.txt: No such file or directory"));
}

TEST_F(MakeShardsTest, FailuresMayBeAllRight) {
  m_list = WriteImage("a.png") + "\n" + m_program.Folder().Path("missing.png") + "\n";
  const SRunResult run = m_program.RunWithDatabase({"make", "--files-from", List(), "--failures-ok"});
  EXPECT_EQ(run.status, 0);
  EXPECT_THAT(run.out, HasSubstr("made 1, already cached 0, failed 1"));
  EXPECT_THAT(run.err, HasSubstr("missing.png"));
}

TEST_F(MakeShardsTest, ShardsMakeEachFileOnceTogether) {
  WriteFolders(6);
  std::int64_t rows = 0;
  for (const char* shard : {"1/3", "2/3", "3/3"}) {
    const SRunResult run = MakeShard(shard);
    EXPECT_EQ(run.status, 0) << run.err;
    rows += Rows(Shard(std::string(1, shard[0]) + "-of-3"));
  }
  EXPECT_EQ(rows, 12);
  EXPECT_FALSE(std::filesystem::exists(m_program.Database()));
}

TEST_F(MakeShardsTest, LeavesOneFileThatNeedsNoLog) {
  WriteFolders(1);
  ASSERT_EQ(MakeShard("1/1").status, 0);
  EXPECT_EQ(QueryText(Shard("1-of-1"), "PRAGMA journal_mode"), "delete");
  for (const char* tail : {"-wal", "-shm", "-journal", ".lock"}) {
    EXPECT_FALSE(std::filesystem::exists(Shard("1-of-1") + tail)) << tail;
  }
}

TEST_F(MakeShardsTest, TheManifestTellsWhatWasAskedAndWhatBecameOfIt) {
  m_list = WriteImage("a.png") + "\n" + m_program.Folder().Path("images/missing \xE4.png") + "\n";
  ASSERT_EQ(MakeShard("1/1", {"--quality", "high"}).status, 1);
  const nlohmann::json manifest = Manifest("1-of-1");
  EXPECT_EQ(manifest["complete"], true);
  EXPECT_EQ(manifest["shard"], (nlohmann::json{{"number", 1}, {"count", 1}}));
  EXPECT_EQ(manifest["asked"]["quality"], "high");
  EXPECT_EQ(manifest["asked"]["filesFrom"], List());
  EXPECT_EQ(manifest["files"], 2);
  EXPECT_EQ(manifest["filesOfAllShards"], 2);
  EXPECT_EQ(manifest["made"], 1);
  EXPECT_EQ(manifest["failed"], 1);
  EXPECT_EQ(manifest["failures"][0]["file"], m_program.Folder().Path("images/missing \\xE4.png"));
  EXPECT_EQ(manifest["failures"][0]["reason"], "No such file or directory");
  EXPECT_EQ(manifest["settings"]["values"]["standard box"], "480 x 180");
  EXPECT_EQ(manifest["settings"]["mountPoints"].size(), 1u);
  EXPECT_THAT(manifest["versions"][0].get<std::string>(), HasSubstr("qvthumbs "));
}

TEST_F(MakeShardsTest, RunAgainAShardDoesOnlyWhatIsMissing) {
  WriteFolders(2);
  ASSERT_EQ(MakeShard("1/1").status, 0);
  m_list += WriteImage("new.png") + "\n";
  EXPECT_THAT(MakeShard("1/1").out, HasSubstr("made 1, already cached 4, failed 0"));
  EXPECT_EQ(Manifest("1-of-1")["made"], 1);
  EXPECT_EQ(Manifest("1-of-1")["alreadyCached"], 4);
}

TEST_F(MakeShardsTest, AKilledShardIsUnfinishedAndCanGoOn) {
  WriteFolders(40);
  for (int kill = 0; kill < 5; ++kill) {
    CProgram::CProcess running(m_program,
                               {"make", "--files-from", List(), "--shard", "1/1", "--db", m_program.Database()});
    std::this_thread::sleep_for(std::chrono::milliseconds(20 + 30 * kill));
    running.Signal(SIGKILL);
    running.Wait();
    if (std::filesystem::exists(Shard("1-of-1") + ".manifest.json")) {
      EXPECT_TRUE(Manifest("1-of-1")["complete"].is_boolean());
    }
  }
  const SRunResult run = MakeShard("1/1");
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Rows(Shard("1-of-1")), 80);
  EXPECT_EQ(Manifest("1-of-1")["complete"], true);
}

TEST_F(MakeShardsTest, OnlyOneProcessMakesAShard) {
  WriteFolders(1);
  const int file = open((Shard("1-of-1") + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(flock(file, LOCK_EX), 0);
  const SRunResult run = MakeShard("1/1");
  close(file);
  EXPECT_EQ(run.status, 2);
  EXPECT_THAT(run.err, HasSubstr("is being made by another process"));
  EXPECT_FALSE(std::filesystem::exists(Shard("1-of-1")));
}

TEST_F(MakeShardsTest, AShardNeedsANumberAndAName) {
  WriteFolders(1);
  EXPECT_THAT(MakeShard("4/3").err, HasSubstr("--shard '4/3' is no part of a whole"));
  const SRunResult unnamed = m_program.Run({"make", "--files-from", List(), "--shard", "1/2"});
  EXPECT_EQ(unnamed.status, 2);
  EXPECT_THAT(unnamed.err, HasSubstr("--shard needs a --db FILE"));
}

TEST_F(MakeShardsTest, AnotherProgramsFileInTheManifestsPlaceStays) {
  WriteFolders(1);
  m_program.Folder().MakeFile("cache.1-of-1.db.manifest.json", "{\"mine\": 1}");
  const SRunResult run = MakeShard("1/1");
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(ReadTextFile(Shard("1-of-1") + ".manifest.json"), "{\"mine\": 1}");
}

}  // namespace
