#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <csignal>
#include <filesystem>
#include <thread>

#include "tests/host/support/lab_database.h"
#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

namespace fs = std::filesystem;

using namespace qvtest;

using testing::HasSubstr;

class RescueTest : public testing::Test {
 protected:
  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  std::string Old() const { return Path("old.db"); }
  std::string New() const { return Path("new.db"); }
  SRunResult Rescue(std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"rescue", Old(), New()});
    return m_program.Run(more);
  }
  // Zeroes the first page of the table that holds rows; how many went with it.
  std::int64_t DamageRowsOf(const std::string& table) const {
    const std::vector<SLabPage> pages = PagesOfDatabase(Old());
    for (std::size_t number = 1; number < pages.size(); ++number) {
      if (pages[number].table != table || pages[number].kind != "leaf") continue;
      SFileBytes bytes = ReadFile(Old());
      const std::size_t size = bytes.size() / (pages.size() - 1);
      std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>((number - 1) * size), size, std::uint8_t{0});
      WriteFile(Old(), bytes);
      return pages[number].rows;
    }
    return 0;
  }
  static std::vector<std::string> Books(const std::string& database) {
    std::vector<std::string> rows;
    CSql db(database);
    for (const char* query : {"SELECT quote(experimentID), quote(M_acqTime), quote(liteVariant), quote(picturePlanes), "
                              "quote(storedID), quote(hashCRC) FROM experiments ORDER BY 1",
                              "SELECT filename, quote(userID), quote(M_acqTime), experimentID FROM history ORDER BY 1",
                              "SELECT * FROM stored ORDER BY 1"}) {
      for (const std::string& row : db.Rows(query)) rows.push_back(row);
    }
    return rows;
  }
  void ExpectNothingLeftBehind() const {
    for (const auto& entry : fs::directory_iterator(m_program.Folder().Path())) {
      EXPECT_FALSE(entry.path().filename().string().starts_with("new.db.")) << entry.path();
    }
  }

  CProgram m_program;
};

TEST_F(RescueTest, ASoundDatabaseComesOutAsItWas) {
  for (const char* name : {"a.png", "b.png"}) WritePng(Path(name), 90, 60, kRed);
  ASSERT_EQ(m_program.Run({"make", Path("a.png"), Path("b.png"), "--db", Old(), "--planes", "max"}).status, 0);
  WriteStack(Path("stack.tif"), {3, 2, 1});
  ASSERT_EQ(m_program.Run({"history", "add", "--user", "anna", Path("stack.tif"), "--db", Old()}).status, 0);
  ASSERT_EQ(m_program.Run({"stored", "add", "Grüße", "--db", Old()}).status, 0);
  Execute(Old(), "PRAGMA journal_mode = WAL");
  ASSERT_EQ(chmod(Old().c_str(), 0640), 0);
  const SRunResult run = Rescue();
  EXPECT_EQ(run.status, 0) << run.err;
  EXPECT_EQ(run.err, "");
  EXPECT_THAT(run.out, HasSubstr("everything is in " + New()));
  EXPECT_EQ(CachedRows(New()), CachedRows(Old()));
  EXPECT_EQ(Books(New()), Books(Old()));
  EXPECT_EQ(QueryInt(New(), "PRAGMA user_version"), QueryInt(Old(), "PRAGMA user_version"));
  EXPECT_EQ(QueryText(New(), "PRAGMA journal_mode"), "wal");
  struct stat status;
  ASSERT_EQ(stat(New().c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777u, 0640u);
  ExpectNothingLeftBehind();
}

TEST_F(RescueTest, TextsInUtf16ComeOutInUtf8) {
  WriteLabDatabase(Path("plain.db"));
  ASSERT_EQ(m_program.Run({"rescue", Path("plain.db"), Path("saved.db")}).status, 0);
  for (const char* encoding : {"UTF-16le", "UTF-16be"}) {
    fs::remove(Old());
    fs::remove(New());
    WriteLabDatabase(Old(), {.encoding = encoding});
    const SRunResult run = Rescue();
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(Books(New()), Books(Path("plain.db")));
    EXPECT_TRUE(CachedRows(New()) == CachedRows(Path("saved.db")));
    EXPECT_EQ(QueryText(New(), "PRAGMA encoding"), "UTF-8");
    const std::int64_t lost = DamageRowsOf("history");
    fs::remove(New());
    const SRunResult damaged = Rescue();
    EXPECT_EQ(damaged.status, 1) << damaged.err;
    EXPECT_THAT(damaged.out, HasSubstr("lost are the records of:\n  /data/lab/field 10"));
    EXPECT_EQ(QueryInt(New(), "SELECT count(*) FROM history"), 90 - lost);
  }
}

TEST_F(RescueTest, WhatWasMergedIsStillKnown) {
  WriteLabDatabase(Path("lab.db"));
  ASSERT_EQ(m_program.Run({"merge", "--partial", Old(), Path("lab.db")}).status, 0);
  ASSERT_EQ(Rescue().status, 0);
  EXPECT_THAT(m_program.Run({"merge", "--partial", New(), Path("lab.db")}).out, HasSubstr("1 merged before"));
}

TEST_F(RescueTest, WhatIsLostIsTold) {
  WriteLabDatabase(Old());
  const std::int64_t lost = DamageRowsOf("history");
  ASSERT_GT(lost, 0);
  const SFileBytes before = ReadFile(Old());
  const SRunResult run = Rescue();
  EXPECT_EQ(run.status, 1) << run.err;
  EXPECT_THAT(run.out, HasSubstr("lost are the records of:\n  /data/lab/field 10"));
  EXPECT_THAT(run.out, HasSubstr("what could be read is in " + New()));
  EXPECT_EQ(QueryInt(New(), "SELECT count(*) FROM history"), 90 - lost);
  EXPECT_EQ(QueryInt(New(), "SELECT count(*) FROM experiments"), 30);
  EXPECT_EQ(ReadFile(Old()), before);
  EXPECT_EQ(m_program.Run({"stats", "--db", New()}).status, 0);
  EXPECT_EQ(QueryText(New(), "PRAGMA integrity_check"), "ok");
}

TEST_F(RescueTest, TheDocumentTellsItOfEachTable) {
  WriteLabDatabase(Old());
  const std::int64_t lost = DamageRowsOf("history");
  const SRunResult run = Rescue({"--json"});
  EXPECT_EQ(run.status, 1);
  const nlohmann::json document = run.Json();
  EXPECT_EQ(document["all"], false);
  EXPECT_EQ(document["new"], New());
  EXPECT_EQ(document["tables"][1]["table"], "history");
  EXPECT_EQ(document["tables"][1]["lost"], lost);
  EXPECT_EQ(document["tables"][1]["lostFiles"].size(), static_cast<std::size_t>(lost));
  EXPECT_EQ(document["tables"][4]["read"], 40);
}

TEST_F(RescueTest, RecordsOfALostExperimentReferToNone) {
  WriteLabDatabase(Old());
  ASSERT_GT(DamageRowsOf("experiments"), 0);
  const SRunResult run = Rescue();
  EXPECT_EQ(run.status, 1);
  EXPECT_THAT(run.out, HasSubstr("records are without an experiment now, because theirs is lost"));
  EXPECT_EQ(QueryInt(New(), "SELECT count(*) FROM history"), 90);
  EXPECT_EQ(QueryInt(New(),
                     "SELECT count(*) FROM history WHERE experimentID <> 0 AND experimentID NOT IN (SELECT "
                     "experimentID FROM experiments)"),
            0);
}

TEST_F(RescueTest, ADryRunTellsTheSameAndWritesNothing) {
  WriteLabDatabase(Old());
  DamageRowsOf("cache");
  const nlohmann::json dry = Rescue({"--dry-run", "--json"}).Json();
  EXPECT_FALSE(fs::exists(New()));
  ExpectNothingLeftBehind();
  EXPECT_EQ(dry["tables"], Rescue({"--json"}).Json()["tables"]);
}

TEST_F(RescueTest, WhatIsThereIsNotReplaced) {
  WriteLabDatabase(Old());
  WritePng(Path("image.png"), 60, 40, kRed);
  fs::create_symlink(Old(), Path("link.db"));
  fs::create_symlink(Path("nowhere.db"), Path("dangling.db"));
  m_program.Folder().MakeFile("other.db-wal");
  const SFileBytes before = ReadFile(Old());
  for (const char* name : {"old.db", "image.png", "link.db", "dangling.db", "other.db"}) {
    const SRunResult run = m_program.Run({"rescue", Old(), Path(name)});
    EXPECT_EQ(run.status, 2) << name;
    EXPECT_THAT(run.err, HasSubstr("is there already")) << name;
  }
  EXPECT_EQ(ReadFile(Old()), before);
  EXPECT_FALSE(fs::exists(Path("nowhere.db")));
  EXPECT_FALSE(fs::exists(Path("other.db")));
}

TEST_F(RescueTest, WhatIsNoThumbnailDatabaseLeavesNothing) {
  WritePng(Path("image.png"), 60, 40, kRed);
  Execute(Path("visits.db"), "CREATE TABLE visits (place TEXT)");
  for (const auto& [name, reason] :
       {std::pair("image.png", "nothing of a thumbnail database can be read"),
        std::pair("visits.db", "another program's database"), std::pair("home", "no file that can be read")}) {
    const SRunResult run = m_program.Run({"rescue", Path(name), New()});
    EXPECT_EQ(run.status, 2) << name;
    EXPECT_THAT(run.err, HasSubstr(reason)) << name;
    EXPECT_THAT(run.err, HasSubstr(Path(name))) << name;
    EXPECT_FALSE(fs::exists(New())) << name;
  }
  ExpectNothingLeftBehind();
}

TEST_F(RescueTest, KilledAtAnyMomentItLeavesAllOrNothing) {
  WriteLabDatabase(Old(), {4096, 30, 3000, 60, 1000, 1000});
  for (int milliseconds = 2; milliseconds < 80; milliseconds += 6) {
    CProgram::CProcess process(m_program, {"rescue", Old(), New()});
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    process.Signal(SIGKILL);
    process.Wait();
    if (!fs::exists(New())) continue;
    EXPECT_EQ(QueryText(New(), "PRAGMA integrity_check"), "ok") << milliseconds;
    EXPECT_EQ(QueryInt(New(), "SELECT count(*) FROM metadata"), 1000) << milliseconds;
    fs::remove(New());
  }
}

TEST_F(RescueTest, OfTwoAtOnceOneWritesIt) {
  WriteLabDatabase(Old());
  CProgram::CProcess one(m_program, {"rescue", Old(), New()}), other(m_program, {"rescue", Old(), New()});
  const SRunResult first = one.Wait(), second = other.Wait();
  EXPECT_EQ(first.status + second.status, 2) << first.err << second.err;
  EXPECT_THAT(first.err + second.err, HasSubstr(New() + " is there already"));
  EXPECT_EQ(QueryInt(New(), "SELECT count(*) FROM history"), 90);
  ExpectNothingLeftBehind();
}

}  // namespace
