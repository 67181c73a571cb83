#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;
using testing::Not;

class MergeTest : public testing::Test {
 protected:
  MergeTest() : m_images(m_program.Folder().MakeFolder("images")) {}

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string WriteImage(const std::string& name, const SRgb& color = kRed) const {
    const std::string path = m_images + "/" + name;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    WritePng(path, 96, 64, color);
    return path;
  }
  // An empty shard, whose manifest says that it is finished.
  std::string MakeShard(const std::string& name) {
    const std::string empty = m_program.Folder().MakeFile("empty.txt", "");
    EXPECT_EQ(m_program.Run({"make", "--files-from", empty, "--shard", "1/1", "--db", Path(name + ".db")}).status, 0);
    return Path(name + ".1-of-1.db");
  }
  static void AddThumbnail(const std::string& database, const std::string& file, double time, int quality,
                           const std::string& picture, int flags = 0) {
    Execute(database, "INSERT INTO cache (filename, lastWritten, flags, quality, binData) VALUES ('" + file + "', " +
                          std::to_string(time) + ", " + std::to_string(flags) + ", " + std::to_string(quality) +
                          ", CAST('" + picture + "' AS BLOB))");
  }
  static void AddText(const std::string& database, const std::string& file, const std::string& text) {
    Execute(database, "INSERT INTO metadata (filename, M_description) VALUES ('" + file + "', '" + text + "')");
  }
  SRunResult Merge(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), {"merge", m_program.Database()});
    return m_program.Run(arguments);
  }
  std::string Picture(const std::string& file, int flags = 0) const {
    return QueryText(m_program.Database(), "SELECT CAST(binData AS TEXT) FROM cache WHERE filename = '" + file +
                                               "' AND flags = " + std::to_string(flags));
  }
  std::string Text(const std::string& file) const {
    return QueryText(m_program.Database(), "SELECT M_description FROM metadata WHERE filename = '" + file + "'");
  }

  CProgram m_program;
  const std::string m_images;
};

TEST_F(MergeTest, ShardsGiveWhatOneMachineMakes) {
  for (int i = 0; i < 12; ++i) WriteImage("Set" + std::to_string(i) + "/Bild Ä" + std::to_string(i) + ".png");
  WriteImage("raw \xE4\xFF.png");
  ASSERT_EQ(m_program.Run({"make", "-r", m_images, "--db", Path("whole.db")}).status, 0);
  std::vector<std::string> shards;
  for (const char* number : {"1", "2", "3"}) {
    const std::string shard = std::string(number) + "/3";
    ASSERT_EQ(m_program.Run({"make", "-r", m_images, "--db", Path("lab.db"), "--shard", shard}).status, 0);
    shards.push_back(Path(std::string("lab.") + number + "-of-3.db"));
  }
  const SRunResult run = Merge(shards);
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("merged 3 shards, 0 merged before, failed 0: added 13, replaced 0, kept 0"));
  EXPECT_EQ(CachedRows(m_program.Database()), CachedRows(Path("whole.db")));
}

TEST_F(MergeTest, ASecondMergeChangesNothing) {
  const std::string shard = MakeShard("a");
  AddThumbnail(shard, "/f", 1, 0, "picture");
  ASSERT_EQ(Merge({shard}).status, 0);
  const SFileBytes before = ReadFile(m_program.Database());
  const SRunResult again = Merge({shard});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_THAT(again.out, HasSubstr("merged 0 shards, 1 merged before, failed 0: added 0, replaced 0, kept 0"));
  EXPECT_EQ(ReadFile(m_program.Database()), before);
  EXPECT_THAT(Merge({shard, "--again"}).out,
              HasSubstr("merged 1 shard, 0 merged before, failed 0: added 0, replaced 0, kept 1"));
}

TEST_F(MergeTest, AShardThatHasGrownIsMergedAgain) {
  const std::string shard = MakeShard("a");
  AddThumbnail(shard, "/f", 1, 0, "picture");
  ASSERT_EQ(Merge({shard}).status, 0);
  AddThumbnail(shard, "/g", 1, 0, "another");
  EXPECT_THAT(Merge({shard}).out, HasSubstr("added 1, replaced 0, kept 1"));
}

TEST_F(MergeTest, TheNewerThumbnailWinsThenTheBetterOneThenTheOneThatIsThere) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  for (const auto& [file, time, quality] :
       {std::tuple{"/newer", 1.0, 1}, {"/older", 3.0, 0}, {"/better", 1.0, 0}, {"/worse", 1.0, 1}, {"/same", 1.0, 0}}) {
    AddThumbnail(first, file, time, quality, "first");
    AddText(first, file, "text of first");
  }
  for (const auto& [file, time, quality] :
       {std::tuple{"/newer", 2.0, 0}, {"/older", 2.0, 1}, {"/better", 1.0, 1}, {"/worse", 1.0, 0}, {"/same", 1.0, 0}}) {
    AddThumbnail(second, file, time, quality, "second");
    AddText(second, file, "text of second");
  }
  const SRunResult run = Merge({first, second});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_THAT(run.out, HasSubstr("added 5, replaced 2, kept 3"));
  for (const char* file : {"/newer", "/better"}) {
    EXPECT_EQ(Picture(file), "second") << file;
    EXPECT_EQ(Text(file), "text of second") << file;
  }
  for (const char* file : {"/older", "/worse", "/same"}) {
    EXPECT_EQ(Picture(file), "first") << file;
    EXPECT_EQ(Text(file), "text of first") << file;
  }
}

TEST_F(MergeTest, TextsThatBelongToAnOlderFileGoWithItsThumbnail) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  AddThumbnail(first, "/f", 1, 0, "first");
  AddText(first, "/f", "of the older file");
  AddThumbnail(second, "/f", 2, 0, "second");
  ASSERT_EQ(Merge({first, second}).status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM metadata"), 0);
}

TEST_F(MergeTest, TextsWithoutAThumbnailComeWhereThereAreNone) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  AddText(first, "/f", "first");
  AddText(second, "/f", "second");
  AddText(second, "/g", "second");
  ASSERT_EQ(Merge({first, second}).status, 0);
  EXPECT_EQ(Text("/f"), "first");
  EXPECT_EQ(Text("/g"), "second");
}

TEST_F(MergeTest, BothSizesOfAFileAreKeptApart) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  AddThumbnail(first, "/f", 1, 0, "standard");
  AddThumbnail(second, "/f", 1, 1, "high", 1);
  ASSERT_EQ(Merge({first, second}).status, 0);
  EXPECT_EQ(Picture("/f", 0), "standard");
  EXPECT_EQ(Picture("/f", 1), "high");
}

TEST_F(MergeTest, KeysStayAsTheyAre) {
  const std::string shard = MakeShard("a");
  for (const char* name : {"/ÄRGER", "/Mixed Case", "/back\\slash", "/%_''"}) AddThumbnail(shard, name, 1, 0, "x");
  ASSERT_EQ(Merge({shard}).status, 0);
  EXPECT_EQ(CachedRows(m_program.Database()), CachedRows(shard));
}

TEST_F(MergeTest, ARowWithoutAPictureCountsAsNone) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  AddThumbnail(first, "/f", 1, 0, "first");
  AddThumbnail(second, "/f", 2, 0, "");
  ASSERT_EQ(Merge({first, second}).status, 0);
  EXPECT_EQ(Picture("/f"), "first");
}

TEST_F(MergeTest, WhatCannotBeMergedIsNamedAndTheRestGoesOn) {
  const std::string shard = MakeShard("good");
  AddThumbnail(shard, "/f", 1, 0, "picture");
  Execute(Path("other.db"), "CREATE TABLE visits (page TEXT)");
  m_program.Folder().MakeFile("text.db", "this is no database, but a text that is longer than a header would be …");
  const SRunResult run = Merge({Path("missing.db"), Path("other.db"), Path("text.db"), Path("images"), shard});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("merged 1 shard, 0 merged before, failed 4: added 1"));
  EXPECT_THAT(run.err, HasSubstr("missing.db: No such file or directory"));
  EXPECT_THAT(run.err, HasSubstr("other.db: is another program's database"));
  EXPECT_THAT(run.err, HasSubstr("text.db: cannot be read: file is not a database"));
  EXPECT_THAT(run.err, HasSubstr("images: is a folder"));
  EXPECT_EQ(Picture("/f"), "picture");
}

TEST_F(MergeTest, ADatabaseIsNotMergedIntoItself) {
  const std::string shard = MakeShard("a");
  AddThumbnail(shard, "/f", 1, 0, "picture");
  ASSERT_EQ(Merge({shard}).status, 0);
  std::filesystem::create_symlink(m_program.Database(), Path("link.db"));
  std::filesystem::create_hard_link(m_program.Database(), Path("hard.db"));
  for (const char* name : {"cache.db", "link.db", "hard.db"}) {
    const SRunResult run = Merge({shard, Path(name)});
    EXPECT_EQ(run.status, 2) << name;
    EXPECT_THAT(run.err, HasSubstr("would be merged into itself")) << name;
  }
}

TEST_F(MergeTest, AnUnfinishedShardIsRefusedUnlessAskedFor) {
  const std::string shard = MakeShard("a");
  AddThumbnail(shard, "/f", 1, 0, "picture");
  const std::string manifest = shard + ".manifest.json";
  std::string text = ReadTextFile(manifest);
  text.replace(text.find("\"complete\": true"), 16, "\"complete\": false");
  std::ofstream(manifest) << text;
  EXPECT_THAT(Merge({shard}).err, HasSubstr("is not finished"));
  std::filesystem::remove(manifest);
  const SRunResult refused = Merge({shard});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.err, HasSubstr("has no manifest"));
  EXPECT_FALSE(std::filesystem::exists(m_program.Database()));
  EXPECT_THAT(Merge({shard, "--partial"}).out, HasSubstr("added 1"));
}

TEST_F(MergeTest, AShardOfOtherBoxesIsRefused) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  std::string text = ReadTextFile(second + ".manifest.json");
  text.replace(text.find("480 x 180"), 9, "320 x 200");
  std::ofstream(second + ".manifest.json") << text;
  AddThumbnail(second, "/f", 1, 0, "picture");
  const SRunResult run = Merge({first, second});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("its standard box is 320 x 200 instead of 480 x 180"));
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 0);
}

TEST_F(MergeTest, AShardOfAnotherViewIsRefused) {
  std::vector<std::string> shards;
  for (const char* planes : {"max", "middle", "max"}) {
    const std::string name = "view" + std::to_string(shards.size());
    WriteStack(m_images + "/" + name + ".tif", {1, 3, 1});
    ASSERT_EQ(m_program
                  .Run({"make", m_images + "/" + name + ".tif", "--planes", planes, "--shard", "1/1", "--db",
                        Path(name + ".db")})
                  .status,
              0);
    shards.push_back(Path(name + ".1-of-1.db"));
  }
  const SRunResult run = Merge(shards);
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("view1.1-of-1.db: its thumbnails show another choice of planes"));
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 2);
  EXPECT_EQ(QueryText(m_program.Database(), "PRAGMA user_version"), QueryText(shards[0], "PRAGMA user_version"));
}

TEST_F(MergeTest, AShardOfOtherMountPointsIsRefusedUnlessAskedFor) {
  WriteImage("a.png");
  std::vector<std::string> shards;
  for (const char* name : {"a", "b"}) {
    ASSERT_EQ(m_program.Run({"make", m_images, "--shard", "1/1", "--db", Path(name + std::string(".db"))}).status, 0);
    shards.push_back(Path(name + std::string(".1-of-1.db")));
  }
  AddThumbnail(shards[1], "/f", 1, 0, "picture");
  nlohmann::ordered_json manifest = nlohmann::ordered_json::parse(ReadTextFile(shards[1] + ".manifest.json"));
  manifest["settings"]["mountPoints"] = {"/mnt/elsewhere"};
  std::ofstream(shards[1] + ".manifest.json") << manifest.dump(2);
  const SRunResult run = Merge(shards);
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("its images lay on /mnt/elsewhere instead of "));
  EXPECT_EQ(Picture("/f"), "");
  shards.emplace_back("--other-mounts");
  EXPECT_EQ(Merge(shards).status, 0);
  EXPECT_EQ(Picture("/f"), "picture");
}

TEST_F(MergeTest, AShardWithALogBesideItIsReadWithIt) {
  const std::string shard = MakeShard("a");
  CSql open(shard);
  open.Run("PRAGMA journal_mode = WAL");
  open.Run("INSERT INTO cache VALUES ('/f', 1.0, 0, CAST('in the log' AS BLOB), 0)");
  const SRunResult run = Merge({shard});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(Picture("/f"), "in the log");
}

TEST_F(MergeTest, ShardsThatMayOnlyBeReadAreMerged) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  ASSERT_EQ(chmod(m_program.Folder().Path().c_str(), 0755), 0);
  m_program.Folder().MakeFolder("lab");
  ASSERT_EQ(chmod(m_program.Folder().MakeFolder("out").c_str(), 0777), 0);
  m_program.SetEnvironment("TMPDIR=" + Path("out"));
  const std::string plain = MakeShard("lab/a"), logged = MakeShard("lab/b"), ahead = MakeShard("lab/c");
  AddThumbnail(plain, "/plain", 1, 0, "x");
  AddThumbnail(ahead, "/ahead", 1, 0, "x");
  Execute(ahead, "PRAGMA journal_mode = WAL");
  CSql open(logged);
  open.Run("PRAGMA journal_mode = WAL");
  open.Run("INSERT INTO cache VALUES ('/logged', 1.0, 0, CAST('x' AS BLOB), 0)");
  const SRunResult run = m_program.RunUnder({"setpriv", "--reuid=61001", "--regid=61001", "--clear-groups"},
                                            {"merge", Path("out/all.db"), plain, logged, ahead});
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(QueryInt(Path("out/all.db"), "SELECT count(*) FROM cache"), 3);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(Path("out")), {}), 1);
}

TEST_F(MergeTest, AFullDiskLeavesWholeShards) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a small disk";
  const std::string small = MakeShard("small"), large = MakeShard("large");
  AddThumbnail(small, "/small", 1, 0, "x");
  Execute(large, "INSERT INTO cache VALUES ('/large', 1.0, 0, zeroblob(2000000), 0)");
  const std::string disk = m_program.Folder().MakeFolder("disk");
  const std::string check = "mount -t tmpfs -o size=600k none '" + disk + "' && { \"$@\"; s=$?; cp '" + disk +
                            "/all.db' '" + Path("left.db") + "'; exit $s; }";
  const SRunResult run =
      m_program.RunUnder({"unshare", "--mount", "sh", "-c", check, "sh"}, {"merge", disk + "/all.db", small, large});
  if (run.err.find("unshare: ") == 0) GTEST_SKIP() << run.err;
  EXPECT_EQ(run.status, 1) << run.out;
  EXPECT_THAT(run.err, HasSubstr("there is no room left for " + disk + "/all.db"));
  EXPECT_EQ(QueryInt(Path("left.db"), "SELECT count(*) FROM cache"), 1);
}

TEST_F(MergeTest, KilledAtAnyMomentItLeavesWholeShards) {
  std::vector<std::string> command = {"merge", m_program.Database()};
  for (const char* name : {"a", "b", "c"}) {
    command.push_back(MakeShard(name));
    Execute(command.back(),
            "WITH RECURSIVE n(i) AS (SELECT 1 UNION SELECT i + 1 FROM n WHERE i < 3000) INSERT INTO cache "
            "SELECT '/" +
                std::string(name) + "/' || i, 1.0, 0, randomblob(1000), 0 FROM n");
  }
  for (int kill = 0; kill < 12; ++kill) {
    CProgram::CProcess running(m_program, command);
    std::this_thread::sleep_for(std::chrono::milliseconds(30 + 20 * kill));
    running.Signal(SIGKILL);
    running.Wait();
    if (!std::filesystem::exists(m_program.Database())) continue;
    CSql db(m_program.Database());
    if (db.Rows("SELECT 1 FROM sqlite_master WHERE name = 'cache'").empty()) continue;
    EXPECT_EQ(db.Value("PRAGMA integrity_check"), "ok");
    EXPECT_EQ(std::stoi(db.Value("SELECT count(*) FROM cache")) % 3000, 0);
  }
  EXPECT_EQ(m_program.Run(command).status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 9000);
}

TEST_F(MergeTest, BooksComeOnRequestOnly) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  Execute(first,
          "INSERT INTO experiments VALUES (1, 5.0, x'AA', NULL, -1, 77), (2, 5.0, x'BB', x'01', -1, 77);"
          "INSERT INTO history VALUES ('/f', 'anna', 5.0, 1);"
          "INSERT INTO stored VALUES (1, 0, 'project', 0)");
  Execute(second,
          "INSERT INTO experiments VALUES (1, 6.0, x'BB', x'01', -1, 77), (2, 6.0, x'CC', x'', -1, 77);"
          "INSERT INTO history VALUES ('/f', 'ben', 6.0, 2), ('/g', 'ben', 6.0, 1), ('/h', 'ben', 6.0, 2),"
          " ('/none', 'ben', 6.0, 0), ('/lost', 'ben', 6.0, 9);"
          "INSERT INTO stored VALUES (1, 0, 'project', 0), (2, 1, 'slide', 3)");
  ASSERT_EQ(Merge({first, second}).status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM history"), 0);
  const SRunResult run = Merge({first, second, "--history"});
  EXPECT_EQ(run.status, 0) << run.err;
  CSql db(m_program.Database());
  EXPECT_THAT(db.Rows("SELECT experimentID, M_acqTime, hex(liteVariant) FROM experiments ORDER BY 1"),
              testing::ElementsAre("1|5.0|AA", "2|6.0|BB", "3|6.0|CC"));
  EXPECT_THAT(db.Rows("SELECT filename, userID, experimentID FROM history ORDER BY 1"),
              testing::ElementsAre("/f|anna|1", "/g|ben|2", "/h|ben|3", "/lost|ben|0", "/none|ben|0"));
  EXPECT_THAT(db.Rows("SELECT storedID, storedParentID, filename, flags FROM stored ORDER BY 1"),
              testing::ElementsAre("1|0|project|0", "2|1|slide|3"));
  EXPECT_THAT(Merge({first, second, "--history"}).out, HasSubstr("merged 0 shards, 2 merged before"));
}

TEST_F(MergeTest, StoredTreesThatContradictEachOtherAreRefused) {
  const std::string first = MakeShard("a"), second = MakeShard("b");
  Execute(first, "INSERT INTO stored VALUES (1, 0, 'project', 0)");
  Execute(second, "INSERT INTO stored VALUES (1, 0, 'another', 0)");
  AddThumbnail(second, "/f", 1, 0, "picture");
  const SRunResult run = Merge({first, second, "--history"});
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.err, HasSubstr("item 1 of its stored tree is another than item 1 that is there"));
  EXPECT_EQ(Picture("/f"), "");
}

TEST_F(MergeTest, TellsItsResultInJson) {
  const std::string shard = MakeShard("a");
  AddThumbnail(shard, "/f", 1, 0, "picture");
  const SRunResult run = Merge({shard, Path("missing.db"), "--json"});
  EXPECT_EQ(run.status, 1);
  EXPECT_EQ(run.err, "");
  const nlohmann::json document = run.Json();
  EXPECT_EQ(document["added"], 1);
  EXPECT_EQ(document["shards"][0]["shard"], shard);
  EXPECT_EQ(document["failures"][0]["shard"], Path("missing.db"));
  EXPECT_EQ(document["failures"][0]["reason"], "No such file or directory");
  EXPECT_EQ(document["interrupted"], false);
}

}  // namespace
