#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "tests/support/file_bytes.h"
#include "tests/thumbnailcache/support/expected_tables.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

const std::string kUserIdTest = "SELECT userID FROM history";
const std::string kAddUserId = "ALTER TABLE history ADD userID TEXT";

class DatabaseFaultsTest : public ServiceTest {
 protected:
  // A good file with a row in every table.
  void Fill() {
    CSql sql(DatabaseFile());
    for (const STable& table : Tables()) sql.Run(table.create);
    sql.Run(
        "INSERT INTO cache (filename) VALUES ('a'); INSERT INTO metadata (filename) VALUES ('a');"
        "INSERT INTO experiments (hashCRC) VALUES (1); INSERT INTO history (filename) VALUES ('a');"
        "INSERT INTO stored (filename) VALUES ('a')");
  }
  // The file with a table of an old form, in which one row lies.
  void FillOld(const std::string& table) {
    Fill();
    CSql sql(DatabaseFile());
    sql.Run("DROP TABLE " + table);
    sql.Run("CREATE TABLE " + table + " (filename TEXT, userID TEXT); INSERT INTO " + table + " VALUES ('old', 'ada')");
  }
  void ExpectRowsKept() {
    for (const STable& table : Tables())
      EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM " + table.name), "1") << table.name;
  }
  // Files beside the database that begin with its name.
  std::vector<std::string> Copies() {
    std::vector<std::string> copies;
    for (const auto& item : std::filesystem::directory_iterator(Folder().Path())) {
      const std::string path = item.path().string();
      if (path.starts_with(DatabaseFile() + ".")) copies.push_back(path);
    }
    return copies;
  }
  std::string TestOf(const std::string& name) {
    return std::find_if(Tables().begin(), Tables().end(), [&](const STable& table) { return table.name == name; })
        ->test;
  }
};

TEST_F(DatabaseFaultsTest, FormatThatCannotBeTestedTouchesNothing) {
  Fill();
  for (const STable& table : Tables()) {
    for (const int result :
         {SQLITE_NOMEM, SQLITE_BUSY, SQLITE_IOERR, SQLITE_CORRUPT, SQLITE_LOCKED, SQLITE_SCHEMA, SQLITE_ERROR}) {
      CSqliteSpy::Reset();
      CSqliteSpy::FailPrepare(table.test, result);
      EXPECT_EQ(Open(), -9) << table.name << " " << result;
      EXPECT_EQ(CSqliteSpy::TakePrepared().back(), table.test);
      EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
      const auto texts = m_diag.TakeTexts();
      ASSERT_THAT(texts, SizeIs(1));
      EXPECT_TRUE(texts[0].starts_with(L"THUMBCACHE: ")) << Utf8(texts[0]);
      ExpectRowsKept();
    }
  }
  EXPECT_EQ(Open(), 0);
}

TEST_F(DatabaseFaultsTest, UserColumnThatCannotBeTestedIsNotAdded) {
  Fill();
  for (const int result : {SQLITE_NOMEM, SQLITE_BUSY, SQLITE_IOERR}) {
    CSqliteSpy::Reset();
    CSqliteSpy::FailPrepare(kUserIdTest, result);
    EXPECT_EQ(Open(), -9);
    EXPECT_EQ(CSqliteSpy::TakePrepared().back(), kUserIdTest);
    EXPECT_THAT(m_diag.TakeTexts(), SizeIs(1));
  }
  ExpectRowsKept();
}

TEST_F(DatabaseFaultsTest, MemoryThatRunsOutInAFormatTestTouchesNothing) {
  Fill();
  for (const STable& table : Tables()) {
    CSqliteSpy::Reset();
    CSqliteSpy::SetPrepareHook([&](const std::string& text) {
      if (text == table.test) sqlite3_hard_heap_limit64(1);
    });
    EXPECT_EQ(Open(), -9) << table.name;
    sqlite3_hard_heap_limit64(0);
    EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(L"THUMBCACHE: out of memory"));
    ExpectRowsKept();
  }
}

TEST_F(DatabaseFaultsTest, FileIsCopiedAsideBeforeWhatCannotBeMadeAgainIsDropped) {
  for (const char* journal : {"DELETE", "WAL"}) {
    for (const std::string table : {"history", "experiments"}) {
      FillOld(table);
      // Another process keeps the write-ahead log from being written back.
      CSql other(DatabaseFile());
      other.Run(std::string("PRAGMA journal_mode=") + journal);
      other.Run("INSERT INTO " + table + " VALUES ('logged', 'bob')");
      ASSERT_EQ(chmod(DatabaseFile().c_str(), 0640), 0);
      m_diag.Take();
      ASSERT_EQ(Open(), 0);

      const auto copies = Copies();
      ASSERT_THAT(copies, SizeIs(1)) << table;
      auto texts = m_diag.TakeTexts();
      EXPECT_THAT(texts, Contains(kCopied + CQvStringUtils::UTF8toW(copies[0].c_str()).Str()));
      EXPECT_THAT(CSql(copies[0]).Rows("SELECT filename FROM " + table), ElementsAre("old", "logged"));
      EXPECT_EQ(CSql(copies[0]).Value("SELECT count(*) FROM stored"), "1") << "it is the whole file";
      struct stat status {};
      ASSERT_EQ(stat(copies[0].c_str(), &status), 0);
      EXPECT_EQ(status.st_mode & 0777, 0640u);
      EXPECT_EQ(other.Value("SELECT count(*) FROM " + table), "0");
      Close();
      std::filesystem::remove(copies[0]);
      std::filesystem::remove(copies[0] + "-wal");
      std::filesystem::remove(copies[0] + "-shm");
      other.Run("PRAGMA journal_mode=DELETE");
      std::filesystem::remove(DatabaseFile());
    }
  }
}

TEST_F(DatabaseFaultsTest, NothingIsCopiedForWhatCanBeMadeAgain) {
  for (const std::string table : {"cache", "metadata"}) {
    FillOld(table);
    ASSERT_EQ(Open(), 0);
    EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kWrongFormat));
    EXPECT_THAT(Copies(), IsEmpty());
    Close();
    std::filesystem::remove(DatabaseFile());
  }
}

TEST_F(DatabaseFaultsTest, CopyNeverReplacesAFile) {
  std::vector<std::string> kept;
  for (int round = 0; round < 3; ++round) {
    std::filesystem::remove(DatabaseFile());
    FillOld("history");
    ASSERT_EQ(Open(), 0);
    Close();
    EXPECT_THAT(Copies(), SizeIs(round + 1));
  }
  for (const std::string& copy : Copies()) EXPECT_EQ(CSql(copy).Value("SELECT filename FROM history"), "old");
}

TEST_F(DatabaseFaultsTest, NothingIsDroppedWhenTheCopyFails) {
  for (const std::string table : {"history", "experiments"}) {
    std::filesystem::remove(DatabaseFile());
    FillOld(table);
    CSqliteSpy::Reset();
    // The last moment at which the copy's place can be taken away: the file loses its name.
    const std::string moved = Folder().Path("moved.db");
    CSqliteSpy::SetPrepareHook([&](const std::string& text) {
      if (text == TestOf(table)) std::filesystem::rename(DatabaseFile(), moved);
    });
    EXPECT_EQ(Open(), -9);
    CSqliteSpy::SetPrepareHook(nullptr);
    const auto texts = m_diag.TakeTexts();
    ASSERT_THAT(texts, SizeIs(2));
    EXPECT_EQ(texts[0], kWrongFormat);
    EXPECT_THAT(Utf8(texts[1]), StartsWith("THUMBCACHE: Failed to copy the database aside before its " + table +
                                           " table is dropped. "));
    EXPECT_THAT(CSqliteSpy::TakePrepared(), Not(Contains("DROP TABLE " + table)));
    EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
    EXPECT_EQ(CSql(moved).Value("SELECT filename FROM " + table), "old");
    EXPECT_THAT(Copies(), IsEmpty());
  }
}

TEST_F(DatabaseFaultsTest, CopyOfATableThatWasNotDroppedIsNotLeft) {
  FillOld("history");
  CSqliteSpy::FailStep("DROP TABLE history", SQLITE_IOERR);
  EXPECT_EQ(Open(), -9);
  EXPECT_THAT(Copies(), IsEmpty());
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM history"), "old");
}

// Another process was quicker with the old table, and has written to the new one.
TEST_F(DatabaseFaultsTest, TableThatWasMadeAnewMeanwhileIsNotDropped) {
  for (const std::string& when : {TestOf("history"), std::string("DROP TABLE history")}) {
    std::filesystem::remove(DatabaseFile());
    FillOld("history");
    bool done = false;
    const auto beQuicker = [&](const std::string& text) {
      if (text != when || std::exchange(done, true)) return;
      CSql other(DatabaseFile());
      other.Run("DROP TABLE history");
      other.Run(Tables()[3].create);
      other.Run("INSERT INTO history VALUES ('new', 'bob', 1, 1)");
    };
    CSqliteSpy::Reset();
    CSqliteSpy::SetPrepareHook(beQuicker);
    EXPECT_EQ(Open(), 0);
    EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM history"), "new");
    EXPECT_THAT(Copies(), IsEmpty());
    Close();
  }
}

TEST_F(DatabaseFaultsTest, TableThatIsDroppedMeanwhileIsMade) {
  for (const STable& table : Tables()) {
    if (table.name == "stored") continue;
    std::filesystem::remove(DatabaseFile());
    FillOld(table.name);
    CSqliteSpy::Reset();
    CSqliteSpy::SetPrepareHook([&](const std::string& text) {
      if (text == table.drop) CSql(DatabaseFile()).Run("DROP TABLE IF EXISTS " + table.name);
    });
    EXPECT_EQ(Open(), 0) << table.name;
    Close();
  }
}

TEST_F(DatabaseFaultsTest, TableThatAnotherProcessMakesFirstIsTaken) {
  for (const int result : {0, SQLITE_BUSY, SQLITE_SCHEMA, SQLITE_ERROR}) {
    for (const STable& table : Tables()) {
      std::filesystem::remove(DatabaseFile());
      CSqliteSpy::Reset();
      CSqliteSpy::SetPrepareHook([&](const std::string& text) {
        if (text == table.create) CSql(DatabaseFile()).Run(table.create);
      });
      if (result != 0) CSqliteSpy::FailStep(table.create, result);
      EXPECT_EQ(Open(), 0) << table.name << " " << result;
      EXPECT_TRUE(m_diag.Take().empty());
      Close();
    }
  }
}

TEST_F(DatabaseFaultsTest, OtherTableOfThatNameIsNotTaken) {
  for (const STable& table : Tables()) {
    std::filesystem::remove(DatabaseFile());
    CSqliteSpy::Reset();
    CSqliteSpy::SetPrepareHook([&](const std::string& text) {
      if (text == table.create) CSql(DatabaseFile()).Run("CREATE TABLE " + table.name + " (other)");
    });
    EXPECT_EQ(Open(), -9);
    const auto texts = m_diag.TakeTexts();
    ASSERT_THAT(texts, SizeIs(1));
    EXPECT_THAT(Utf8(texts[0]), HasSubstr("Failed to create the " + table.name + " table. "));
    EXPECT_THAT(Utf8(texts[0]), HasSubstr("already exists"));
  }
}

TEST_F(DatabaseFaultsTest, UserColumnThatAnotherProcessAddsFirstIsTaken) {
  for (const int result : {0, SQLITE_BUSY, SQLITE_SCHEMA}) {
    std::filesystem::remove(DatabaseFile());
    Fill();
    CSql(DatabaseFile())
        .Run(
            "DROP TABLE history; CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER);"
            "INSERT INTO history VALUES ('old', 1, 1)");
    CSqliteSpy::Reset();
    CSqliteSpy::SetPrepareHook([&](const std::string& text) {
      if (text == kAddUserId) CSql(DatabaseFile()).Run(kAddUserId);
    });
    if (result != 0) CSqliteSpy::FailStep(kAddUserId, result);
    EXPECT_EQ(Open(), 0) << result;
    EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM history"), "old");
    Close();
  }
}

}  // namespace
}  // namespace qvtest
