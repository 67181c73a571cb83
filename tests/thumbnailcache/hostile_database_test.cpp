#include <filesystem>

#include "tests/thumbnailcache/support/expected_tables.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

// What a file may hold that somebody else made, with the help of a connection that trusts everything.
class HostileDatabaseTest : public ServiceTest {
 protected:
  // The five tables, and what the text makes.
  void Prepare(const std::string& text) {
    std::filesystem::remove(DatabaseFile());
    CSql sql(DatabaseFile());
    for (const STable& table : Tables()) sql.Run(table.create);
    sql.Run(text);
  }
  // Runs every operation that reads or writes a table.
  void UseEverything() {
    RequestNow(Cache(), {Describe(MakeFile("a.tif"))});
    int id = 0;
    std::vector<int> ids;
    std::vector<double> times;
    std::vector<CQvStringW> names;
    Cache().InsertStoredItem(0, L"item", 0, &id);
    Cache().UpdateStoredItem(id, 0, L"renamed", 1);
    Cache().GetStoredChildren(0, &ids, &names);
    Cache().WriteHistory(L"a.tif", L"ada", 1, 1);
    Cache().WriteHistory(L"a.tif", L"ada", 2, 1);
    Cache().ReadHistory(L"ada", 0, 9, &ids, &times, &names);
    Cache().GetHistoryFilenames(L"ada", 1, 0, 9, &names);
    Cache().GetExperimentIDsByStoredID(0, &ids);
    Cache().DeleteHistory(100, 101, 77);
    Cache().DeleteStoredItem(id);
    CSqliteSpy::FinalizeOpenStatements();
  }
};

TEST_F(HostileDatabaseTest, TriggersDoNotRun) {
  std::string triggers = "CREATE TABLE ran (what)";
  for (const STable& table : Tables()) {
    for (const std::string event : {"INSERT", "UPDATE", "DELETE"}) {
      triggers += "; CREATE TRIGGER " + table.name + event + " AFTER " + event + " ON " + table.name +
                  " BEGIN INSERT INTO ran VALUES ('" + table.name + " " + event + "'); DELETE FROM history; END";
    }
  }
  Prepare(triggers);
  ASSERT_EQ(Open(), 0);
  UseEverything();
  EXPECT_THAT(CSql(DatabaseFile()).Rows("SELECT what FROM ran"), IsEmpty());
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM history"), "1");
}

TEST_F(HostileDatabaseTest, TriggerWithTheNameOfATableIsNoTable) {
  for (const STable& table : Tables()) {
    std::filesystem::remove(DatabaseFile());
    CSql(DatabaseFile())
        .Run("CREATE TABLE other (x); CREATE TRIGGER " + table.name + " AFTER INSERT ON other BEGIN SELECT 1; END");
    EXPECT_EQ(Open(), 0) << table.name;
    UseEverything();
    Close();
    m_diag.Take();
  }
}

TEST_F(HostileDatabaseTest, ViewWithTheNameOfATableIsRefused) {
  for (const STable& table : Tables()) {
    Prepare("INSERT INTO stored VALUES (1, 2, 'kept', 3)");
    CSql(DatabaseFile())
        .Run("ALTER TABLE " + table.name + " RENAME TO base; CREATE VIEW " + table.name + " AS SELECT * FROM base");
    CSqliteSpy::Clear();
    EXPECT_EQ(Open(), -9);
    const auto texts = m_diag.TakeTexts();
    ASSERT_THAT(texts, SizeIs(1));
    EXPECT_THAT(Utf8(texts[0]), HasSubstr("Failed to create the " + table.name + " table. "));
    EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT filename FROM stored"), "kept");
  }
}

TEST_F(HostileDatabaseTest, VirtualTableIsRefusedAndKept) {
  for (const STable& table : Tables()) {
    const std::string columns = table.test.substr(7, table.test.find(" FROM ") - 7);
    Prepare("DROP TABLE " + table.name + "; CREATE VIRTUAL TABLE " + table.name + " USING fts5(" + columns +
            (table.name == "history" ? ", userID" : "") + ")");
    EXPECT_EQ(Open(), -9) << table.name;
    const auto texts = m_diag.TakeTexts();
    ASSERT_THAT(texts, SizeIs(1));
    EXPECT_EQ(texts[0], L"THUMBCACHE: no such module: fts5");
    EXPECT_THAT(CSql(DatabaseFile()).Value("SELECT sql FROM sqlite_master WHERE name = '" + table.name + "'"),
                HasSubstr("VIRTUAL"));
  }
}

TEST_F(HostileDatabaseTest, GeneratedColumnsAreSurvived) {
  Prepare(
      "DROP TABLE cache; CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, quality INTEGER,"
      "binData BLOB AS (zeroblob(lastWritten * 100000000)), PRIMARY KEY (filename, flags));"
      "DROP TABLE history; CREATE TABLE history (filename TEXT AS (zeroblob(M_acqTime * 100000000)), userID TEXT, "
      "M_acqTime REAL, experimentID INTEGER); INSERT INTO history VALUES ('ada', 1, 1);"
      "DROP TABLE stored; CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, "
      "filename TEXT AS (zeroblob(storedID * 100000000)), flags INTEGER, PRIMARY KEY (storedID));"
      "INSERT INTO stored VALUES (1, 0, 0)");
  const std::wstring path = MakeFile("a.tif");
  CSql(DatabaseFile()).Run("INSERT INTO cache VALUES ('" + Utf8(path) + "', 1, 0, 0)");
  ASSERT_EQ(Open(), 0);
  std::vector<int> ids;
  std::vector<double> times;
  std::vector<CQvStringW> names;
  EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 9, &ids, &times, &names), SQLITE_TOOBIG);
  EXPECT_EQ(Cache().GetStoredChildren(0, &ids, &names), SQLITE_TOOBIG);
  UseEverything();
  EXPECT_EQ(PeekState(Cache(), Describe(path)), kQvThumbnailReady);
  EXPECT_THAT(names, IsEmpty());
}

TEST_F(HostileDatabaseTest, FunctionsWithEffectsAreNotCalled) {
  // Harmless to whoever made the file, who had such a function; here there is none, or it is not trusted.
  Prepare("DROP TABLE cache");
  CSql maker(DatabaseFile());
  ASSERT_EQ(
      sqlite3_create_function(
          maker.Handle(), "mine", 0, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr,
          [](sqlite3_context* context, int, sqlite3_value**) { sqlite3_result_int(context, 1); }, nullptr, nullptr),
      SQLITE_OK);
  maker.Run(
      "CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB, quality INTEGER AS (mine()))");
  EXPECT_EQ(Open(), -9);
  EXPECT_THAT(m_diag.TakeTexts(), SizeIs(1));
  EXPECT_EQ(maker.Value("SELECT count(*) FROM cache"), "0") << "nothing was dropped";
}

}  // namespace
}  // namespace qvtest
