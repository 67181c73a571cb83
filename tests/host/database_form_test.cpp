#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/host/support/pictures.h"
#include "tests/host/support/program.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"

namespace {

using namespace qvtest;

using testing::HasSubstr;

// Whose database a file is, is looked at before the service may repair its tables.
class DatabaseFormTest : public testing::Test {
 protected:
  DatabaseFormTest() { WritePng(Path("a.png"), 10, 10, kRed); }

  std::string Path(const std::string& name) const { return m_program.Folder().Path(name); }
  SRunResult Make() { return m_program.RunWithDatabase({"make", Path("a.png")}); }
  // Every verb refuses it, with the reason, and leaves it as it is.
  void ExpectRefused(const std::string& reason) {
    const std::string before = ReadTextFile(m_program.Database());
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"make", Path("a.png")},
                                                      {"show", Path("a.png"), "-o", Path("out.png")},
                                                      {"stats"},
                                                      {"verify", "--repair"},
                                                      {"history", "earliest"},
                                                      {"stored", "add", "x"}}) {
      const SRunResult run = m_program.RunWithDatabase(arguments);
      EXPECT_EQ(run.status, 2) << arguments[0];
      EXPECT_THAT(run.err, HasSubstr(m_program.Database() + " is another program's database (" + reason + ")"));
    }
    EXPECT_EQ(ReadTextFile(m_program.Database()), before);
    for (const char* tail : {"-wal", "-shm", "-journal"}) {
      EXPECT_FALSE(std::filesystem::exists(m_program.Database() + tail)) << tail;
    }
  }

  CProgram m_program;
};

TEST_F(DatabaseFormTest, AnotherProgramsDatabaseIsLeftAlone) {
  Execute(m_program.Database(),
          "CREATE TABLE cache (url TEXT); CREATE TABLE visits (id); INSERT INTO cache VALUES ('x')");
  ExpectRefused("its cache table has no column filename");
}

TEST_F(DatabaseFormTest, ATableOfAnotherProgramThatIsNamedAsOneOfOursIsLeftAlone) {
  Execute(m_program.Database(),
          "CREATE TABLE history (id INTEGER PRIMARY KEY, url TEXT, title TEXT); "
          "INSERT INTO history VALUES (1, 'http://localhost', 'home')");
  ExpectRefused("its history table has no column filename");
}

TEST_F(DatabaseFormTest, OtherTablesAloneAreAnotherPrograms) {
  Execute(m_program.Database(), "CREATE TABLE visits (id)");
  ExpectRefused("it has a table 'visits'");
}

TEST_F(DatabaseFormTest, SomeOfOurTablesAmongOthersAreAnotherPrograms) {
  Execute(m_program.Database(),
          "CREATE TABLE visits (id); CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, filename TEXT, "
          "flags INTEGER, PRIMARY KEY (storedID))");
  ExpectRefused("it has a table 'visits'");
}

TEST_F(DatabaseFormTest, AStoredTableOfAForeignFormStopsWithTheReason) {
  Execute(m_program.Database(), "CREATE TABLE stored (storedID INTEGER, filename TEXT)");
  ExpectRefused("its stored table has no column storedParentID");
}

TEST_F(DatabaseFormTest, AViewNamedAsOneOfOurTablesIsAnotherPrograms) {
  Execute(m_program.Database(), "CREATE VIEW cache AS SELECT 1 AS filename");
  ExpectRefused("its cache is a view");
}

TEST_F(DatabaseFormTest, TablesOfOnesOwnInTheDatabaseAreAllowed) {
  ASSERT_EQ(Make().status, 0);
  Execute(m_program.Database(), "CREATE TABLE notes (text); ALTER TABLE cache ADD mine TEXT");
  EXPECT_EQ(Make().status, 0);
}

TEST_F(DatabaseFormTest, AnEmptyFileIsOurs) {
  m_program.Folder().MakeFile("cache.db", "");
  EXPECT_EQ(Make().status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM cache"), 1);
}

TEST_F(DatabaseFormTest, AFileWithoutTablesIsOurs) {
  Execute(m_program.Database(), "PRAGMA user_version=1");
  EXPECT_EQ(Make().status, 0);
}

TEST_F(DatabaseFormTest, AHistoryOfAnOlderVersionIsOurs) {
  Execute(m_program.Database(),
          "CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY (filename)); "
          "INSERT INTO history VALUES ('/a.tif', 2460000.5, 1)");
  EXPECT_EQ(Make().status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM history"), 1);
}

TEST_F(DatabaseFormTest, AFirstUseThatWasInterruptedGoesOn) {
  ASSERT_EQ(Make().status, 0);
  Execute(m_program.Database(), "DROP TABLE history; DROP TABLE stored");
  EXPECT_EQ(Make().status, 0);
  EXPECT_EQ(QueryInt(m_program.Database(), "SELECT count(*) FROM stored"), 0);
}

}  // namespace
