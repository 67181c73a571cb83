#include <filesystem>

#include "tests/thumbnailcache/support/expected_tables.h"
#include "tests/thumbnailcache/support/service_test.h"

namespace qvtest {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsSupersetOf;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

constexpr const wchar_t* kUserIdMissing = L"THUMBCACHE: User ID is missing, creating...";

std::wstring Wide(const std::string& text) { return CQvStringUtils::UTF8toW(text.c_str()).Str(); }

class SchemaTest : public ServiceTest {
 protected:
  // What is said of a table that is dropped and made anew; the file is copied before when its rows are no cache.
  static ::testing::Matcher<std::vector<std::wstring>> RemadeMessages(const STable& table) {
    if (table.name == "cache" || table.name == "metadata") return ElementsAre(kWrongFormat);
    return ElementsAre(kWrongFormat, StartsWith(kCopied));
  }
  // A file that holds the tables before `table`, and this one made by `create`.
  void Prepare(std::size_t table, const std::string& create) {
    CSql sql(DatabaseFile());
    for (std::size_t i = 0; i < table; ++i) sql.Run(Tables()[i].create);
    if (!create.empty()) sql.Run(create);
  }
  // What SQLite keeps of the table's CREATE statement.
  std::string Schema(const std::string& table) {
    return CSql(DatabaseFile()).Value("SELECT sql FROM sqlite_master WHERE name='" + table + "'");
  }
  void ExpectConnectionClosed() {
    EXPECT_EQ(CSqliteSpy::OpenConnections(), 0);
    const auto calls = CSqliteSpy::TakeCalls();
    ASSERT_FALSE(calls.empty());
    EXPECT_EQ(calls.back(), "close 0");
  }
};

TEST_F(SchemaTest, FreshFileIsAskedAndFilledTableByTable) {
  ASSERT_EQ(Open(), 0);
  std::vector<std::string> expected;
  for (const STable& table : Tables()) {
    expected.push_back(table.existence);
    expected.push_back(table.create);
    EXPECT_EQ(Schema(table.name), table.create);
  }
  EXPECT_EQ(CSqliteSpy::TakePrepared(), expected);
  EXPECT_EQ(CSqliteSpy::TakeTraced(), expected);
  EXPECT_THAT(CSqliteSpy::OpenStatements(), SizeIs(0));
}

TEST_F(SchemaTest, EveryStatementIsPreparedSteppedOnceAndFinalized) {
  ASSERT_EQ(Open(), 0);
  std::vector<std::string> expected = {"open " + DatabaseFile() + " 6", "busy 5000"};
  for (const STable& table : Tables()) {
    for (const std::string& text : {table.existence, table.create}) {
      expected.push_back("prepare " + text);
      expected.push_back("step 101");
      expected.push_back("finalize 0");
    }
  }
  EXPECT_EQ(CSqliteSpy::TakeCalls(), expected);
}

TEST_F(SchemaTest, GoodTablesAreTestedWithoutAStepAndKept) {
  ASSERT_EQ(Open(), 0);
  Close();
  CSql(DatabaseFile()).Run("INSERT INTO stored VALUES (1, 2, 'kept', 3)");
  CSqliteSpy::Clear();
  ASSERT_EQ(Open(), 0);

  std::vector<std::string> prepared, traced;
  for (const STable& table : Tables()) {
    prepared.push_back(table.existence);
    traced.push_back(table.existence);
    if (table.name == "history") prepared.push_back("SELECT userID FROM history");
    prepared.push_back(table.test);
  }
  EXPECT_EQ(CSqliteSpy::TakePrepared(), prepared);
  EXPECT_EQ(CSqliteSpy::TakeTraced(), traced) << "a format test is never stepped";
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT * FROM stored"), "1|2|kept|3");
  EXPECT_TRUE(m_diag.Take().empty());
}

TEST_F(SchemaTest, CacheTableWithoutQualityIsMadeAnew) {
  Prepare(0,
          "CREATE TABLE cache (filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB); INSERT INTO cache VALUES "
          "('a', 1, 0, 'x')");
  ASSERT_EQ(Open(), 0);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kWrongFormat));
  const auto prepared = CSqliteSpy::TakePrepared();
  ASSERT_GE(prepared.size(), 4u);
  EXPECT_THAT(std::vector<std::string>(prepared.begin(), prepared.begin() + 4),
              ElementsAre(Tables()[0].existence, Tables()[0].test, Tables()[0].drop, Tables()[0].create));
  EXPECT_EQ(Schema("cache"), Tables()[0].create);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM cache"), "0");
}

TEST_F(SchemaTest, MetadataAndExperimentsOfAnOldFormatAreMadeAnew) {
  for (const std::size_t index : {1u, 2u}) {
    const STable& table = Tables()[index];
    CSql(DatabaseFile())
        .Run("DROP TABLE IF EXISTS " + table.name + "; CREATE TABLE " + table.name + " (filename TEXT)");
    ASSERT_EQ(Open(), 0);
    EXPECT_THAT(m_diag.TakeTexts(), RemadeMessages(table));
    EXPECT_THAT(CSqliteSpy::TakePrepared(), IsSupersetOf({table.test, table.drop, table.create}));
    EXPECT_EQ(Schema(table.name), table.create);
    Close();
  }
}

TEST_F(SchemaTest, MessagesHaveTheFormatAndTheSource) {
  Prepare(3, "CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER)");
  ASSERT_EQ(Open(), 0);
  const auto messages = m_diag.Take();
  ASSERT_THAT(messages, SizeIs(1));
  EXPECT_EQ(messages[0].text, kUserIdMissing);
  EXPECT_EQ(messages[0].kind, EQvDiagKind::Output);
  EXPECT_EQ(messages[0].file, kSource);
}

TEST_F(SchemaTest, EveryColumnOfTheFormatTestCounts) {
  // Leaves out one column after the other.
  for (const STable& table : Tables()) {
    if (table.name == "stored") continue;
    const std::string list = table.test.substr(7, table.test.find(" FROM ") - 7);
    std::vector<std::string> columns;
    for (std::size_t at = 0; at < list.size();) {
      const std::size_t end = std::min(list.find(", ", at), list.size());
      columns.push_back(list.substr(at, end - at));
      at = end + 2;
    }
    for (const std::string& left : columns) {
      std::string others = table.name == "history" ? "userID" : "extra";
      for (const std::string& column : columns)
        if (column != left) others += ", " + column;
      CSql(DatabaseFile())
          .Run("DROP TABLE IF EXISTS " + table.name + "; CREATE TABLE " + table.name + " (" + others + ")");
      ASSERT_EQ(Open(), 0) << table.name << " without " << left;
      EXPECT_THAT(m_diag.TakeTexts(), RemadeMessages(table)) << table.name << " without " << left;
      EXPECT_EQ(Schema(table.name), table.create);
      Close();
    }
  }
}

TEST_F(SchemaTest, HistoryWithoutUserIdIsAlteredAndKeepsItsRows) {
  Prepare(3,
          "CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY (filename)); INSERT "
          "INTO history VALUES ('a.tif', 1.5, 7)");
  ASSERT_EQ(Open(), 0);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kUserIdMissing));
  EXPECT_THAT(CSqliteSpy::TakeTraced(), Contains("ALTER TABLE history ADD userID TEXT"));
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT * FROM history"), "a.tif|1.5|7|NULL");

  // The altered table has userID last, which no operation may mind.
  EXPECT_EQ(Cache().WriteHistory(L"b.tif", L"ada", 2.5, 8), 0);
  std::vector<int> ids;
  std::vector<double> times;
  std::vector<CQvStringW> names;
  EXPECT_EQ(Cache().ReadHistory(L"ada", 0, 10, &ids, &times, &names), 0);
  EXPECT_THAT(ids, ElementsAre(8));
  EXPECT_THAT(names, ElementsAre(L"b.tif"));
}

TEST_F(SchemaTest, HistoryStatementsOfTheUpgradeAreInOrder) {
  Prepare(3, "CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER)");
  CSqliteSpy::Clear();
  ASSERT_EQ(Open(), 0);
  const auto prepared = CSqliteSpy::TakePrepared();
  const auto at = std::find(prepared.begin(), prepared.end(), Tables()[3].existence);
  ASSERT_GE(prepared.end() - at, 4);
  EXPECT_THAT(std::vector<std::string>(at, at + 4),
              ElementsAre(Tables()[3].existence, "SELECT userID FROM history", "ALTER TABLE history ADD userID TEXT",
                          Tables()[3].test));
}

TEST_F(SchemaTest, HistoryWithoutExperimentAndUserIsAlteredThenMadeAnew) {
  Prepare(3, "CREATE TABLE history (filename TEXT, M_acqTime REAL); INSERT INTO history VALUES ('a.tif', 1)");
  ASSERT_EQ(Open(), 0);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kUserIdMissing, kWrongFormat, StartsWith(kCopied)));
  EXPECT_EQ(Schema("history"), Tables()[3].create);
  EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT count(*) FROM history"), "0");
}

TEST_F(SchemaTest, StoredTableOfAnOldFormatIsNeverDropped) {
  Prepare(4,
          "CREATE TABLE stored (storedID INTEGER, storedParentID INTEGER, filename TEXT, PRIMARY KEY (storedID)); "
          "INSERT INTO stored VALUES (1, 2, 'kept')");
  for (int round = 0; round < 2; ++round) {
    CSqliteSpy::Clear();
    EXPECT_EQ(Open(), -9);
    EXPECT_THAT(m_diag.TakeTexts(),
                ElementsAre(kWrongFormat, L"THUMBCACHE: Failed to drop the stored table. no such table: sored"));
    EXPECT_EQ(CSqliteSpy::TakePrepared().back(), "DROP TABLE sored");
    ExpectConnectionClosed();
    EXPECT_EQ(CSql(DatabaseFile()).Value("SELECT * FROM stored"), "1|2|kept");
  }
}

TEST_F(SchemaTest, ExtraColumnsDoNotFailTheTest) {
  CSql sql(DatabaseFile());
  for (const STable& table : Tables()) {
    sql.Run(table.create);
    sql.Run("ALTER TABLE " + table.name + " ADD extra TEXT");
  }
  ASSERT_EQ(Open(), 0);
  EXPECT_TRUE(m_diag.Take().empty());
  for (const STable& table : Tables()) EXPECT_THAT(Schema(table.name), ::testing::HasSubstr("extra"));
}

// A second connection holds the write lock, so that reading works and writing fails.
TEST_F(SchemaTest, FailedCreationIsReportedOnceAndClosesTheConnection) {
  for (std::size_t i = 0; i < Tables().size(); ++i) {
    std::filesystem::remove(DatabaseFile());
    Prepare(i, "");
    CSqliteSpy::Reset();
    CSqliteSpy::OverrideBusyTimeout(0);
    CSql holder(DatabaseFile());
    holder.Run("BEGIN IMMEDIATE");
    EXPECT_EQ(Open(), -9);
    EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(L"THUMBCACHE: Failed to create the " + Wide(Tables()[i].name) +
                                                L" table. database is locked"));
    const auto prepared = CSqliteSpy::TakePrepared();
    ASSERT_GE(prepared.size(), 2u);
    EXPECT_EQ(prepared[prepared.size() - 2], Tables()[i].create);
    EXPECT_EQ(prepared.back(), Tables()[i].existence) << "it is looked for once more, and no later table";
    ExpectConnectionClosed();
  }
}

TEST_F(SchemaTest, FailedDropIsReportedOnceAndClosesTheConnection) {
  for (std::size_t i = 0; i < 4; ++i) {
    std::filesystem::remove(DatabaseFile());
    Prepare(i, "CREATE TABLE " + Tables()[i].name + " (userID TEXT)");
    CSqliteSpy::Reset();
    CSqliteSpy::OverrideBusyTimeout(0);
    CSql holder(DatabaseFile());
    holder.Run("BEGIN IMMEDIATE");
    EXPECT_EQ(Open(), -9);
    const auto messages = m_diag.Take();
    ASSERT_THAT(messages, SizeIs(2));
    EXPECT_EQ(messages[0].text, kWrongFormat);
    EXPECT_EQ(messages[1].text,
              L"THUMBCACHE: Failed to drop the " + Wide(Tables()[i].name) + L" table. database is locked");
    EXPECT_EQ(messages[1].format, L"%s");
    EXPECT_EQ(messages[1].file, kSource);
    ExpectConnectionClosed();
  }
}

TEST_F(SchemaTest, FailedUserIdUpgradeDoesNotDropTheTable) {
  Prepare(3, "CREATE TABLE history (filename TEXT, M_acqTime REAL, experimentID INTEGER)");
  CSqliteSpy::Reset();
  CSqliteSpy::OverrideBusyTimeout(0);
  CSql holder(DatabaseFile());
  holder.Run("BEGIN IMMEDIATE");
  EXPECT_EQ(Open(), -9);
  EXPECT_THAT(m_diag.TakeTexts(), ElementsAre(kUserIdMissing,
                                              L"THUMBCACHE: Failed to create the history table. "
                                              L"database is locked"));
  EXPECT_THAT(CSqliteSpy::TakePrepared(), Not(Contains("DROP TABLE history")));
  ExpectConnectionClosed();
}

TEST_F(SchemaTest, FailedExistenceStepIsReported) {
  for (const STable& table : Tables()) {
    CSqliteSpy::FailStep("name ='" + table.name + "'", SQLITE_IOERR);
    EXPECT_EQ(Open(), -9);
    const auto texts = m_diag.TakeTexts();
    ASSERT_THAT(texts, SizeIs(1)) << table.name;
    EXPECT_TRUE(texts[0].starts_with(L"THUMBCACHE: ")) << Utf8(texts[0]);
    ExpectConnectionClosed();
  }
}

TEST_F(SchemaTest, ViewInPlaceOfATableIsReported) {
  CSql(DatabaseFile()).Run("CREATE VIEW cache AS SELECT 1 AS filename");
  EXPECT_EQ(Open(), -9);
  const auto texts = m_diag.TakeTexts();
  ASSERT_THAT(texts, SizeIs(1));
  EXPECT_TRUE(texts[0].starts_with(L"THUMBCACHE: Failed to create the cache table. ")) << Utf8(texts[0]);
  EXPECT_THAT(Utf8(texts[0]), ::testing::HasSubstr("already"));
}

}  // namespace
}  // namespace qvtest
