// The file of the search index, from inside.

#include "host/find/search_index.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/temp_folder.h"

namespace qvhost {
namespace {

using namespace qvtest;

class SearchIndexTest : public testing::Test {
 protected:
  SearchIndexTest() { m_folder.MakeFile("cache.db", "a database"); }

  std::string Database() const { return m_folder.Path("cache.db"); }
  std::string Index() const { return m_folder.Path("cache.db.find"); }
  void WriteTexts() const {
    CSearchIndex index(Index(), Database());
    index.Connection().exec(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 500) "
        "INSERT INTO doc SELECT i, hex(zeroblob(10000)) FROM n");
  }

  const CTempFolder m_folder;
};

TEST_F(SearchIndexTest, AFileThatIsCutMeanwhileIsAnErrorAndNotTheEnd) {
  WriteTexts();
  CSearchIndex index(Index(), Database());
  SQLite::Statement rows(index.Connection(), "SELECT text FROM doc");
  ASSERT_TRUE(rows.executeStep());
  std::filesystem::resize_file(Index(), 65536);
  const auto readAll = [&rows] {
    while (rows.executeStep()) EXPECT_EQ(rows.getColumn(0).getString().size(), 20000u);
  };
  EXPECT_THROW(readAll(), SQLite::Exception);
}

TEST_F(SearchIndexTest, AnIndexOfAnotherVersionIsMadeAnew) {
  {
    SQLite::Database old(Index(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
    old.exec("PRAGMA page_size = 4096; PRAGMA application_id = 0x51764669; PRAGMA user_version = 1");
    old.exec("CREATE TABLE doc (id INTEGER PRIMARY KEY, text TEXT); INSERT INTO doc VALUES (1, 'old')");
  }
  CSearchIndex index(Index(), Database());
  EXPECT_EQ(index.Connection().execAndGet("SELECT count(*) FROM doc").getInt(), 0);
  EXPECT_EQ(index.Connection().execAndGet("PRAGMA page_size").getInt(), 8192);
}

}  // namespace
}  // namespace qvhost
