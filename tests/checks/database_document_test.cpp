// docs/database.md shows tables and queries. They must be the tables that the service makes, and queries that run.

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "system/qvref.h"
#include "tests/support/file_bytes.h"
#include "tests/support/sql.h"
#include "tests/support/temp_folder.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace {

using qvtest::CSql;
using qvtest::CSqlStatement;

// Runs of white space count as one blank, so that a text may be wrapped.
std::string Unwrapped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    const bool blank = c == ' ' || c == '\n';
    if (!blank || (!result.empty() && result.back() != ' ')) result += blank ? ' ' : c;
  }
  while (!result.empty() && result.back() == ' ') result.pop_back();
  return result;
}

struct SDocument {
  std::vector<std::string> tables;   // CREATE statements
  std::vector<std::string> queries;  // marked as such, to be run as they stand
};

SDocument ReadDocument() {
  std::ifstream file(QV_DATABASE_DOCUMENT);
  SDocument document;
  std::string line, block;
  bool inside = false, marked = false;
  while (std::getline(file, line)) {
    if (line == "<!-- query -->") {
      marked = true;
    } else if (line == "```sql") {
      inside = true;
      block.clear();
    } else if (inside && line == "```") {
      inside = false;
      if (marked) document.queries.push_back(block);
      if (block.compare(0, 12, "CREATE TABLE") == 0) document.tables.push_back(Unwrapped(block));
      marked = false;
    } else if (inside) {
      block += line + '\n';
    }
  }
  return document;
}

class CDatabaseDocument : public testing::Test {
 protected:
  void SetUp() override {
    CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str());
    const auto cache =
        QvCreate<IQvThumbnailCache>("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine(__FILE__, __LINE__));
    ASSERT_TRUE(cache);
    EXPECT_EQ(cache->OpenDatabase(m_folder.Wide("made.db").c_str()), 0);
    EXPECT_EQ(cache->CloseDatabase(), 0);
  }

  std::string Path() const { return m_folder.Path("made.db"); }

  std::map<std::string, std::string> MadeTables() const {
    const CSql db(Path());
    CSqlStatement select(db, "SELECT name, sql FROM sqlite_master WHERE type = 'table'");
    std::map<std::string, std::string> tables;
    while (select.Row()) tables[select.TextAt(0)] = select.TextAt(1);
    return tables;
  }

 private:
  const qvtest::CTempFolder m_folder;
};

TEST_F(CDatabaseDocument, ShowsTheTablesThatTheServiceMakes) {
  const std::map<std::string, std::string> made = MadeTables();
  ASSERT_EQ(made.size(), 5u);
  const SDocument document = ReadDocument();
  // The wide metadata table is explained column by column instead.
  EXPECT_EQ(document.tables.size(), 5u);
  for (const std::string& text : document.tables) {
    const std::string name = text.substr(13, text.find(' ', 13) - 13);
    if (name == "merged") continue;  // made by `qvthumbs merge`
    ASSERT_TRUE(made.count(name)) << name;
    EXPECT_EQ(text, made.at(name));
  }
}

TEST_F(CDatabaseDocument, ExplainsEveryColumn) {
  const std::string text = qvtest::ReadTextFile(QV_DATABASE_DOCUMENT);
  const CSql db(Path());
  for (const auto& [name, sql] : MadeTables()) {
    CSqlStatement columns(db, ("PRAGMA table_info(" + name + ")").c_str());
    while (columns.Row()) {
      const std::string column = columns.TextAt(1);
      EXPECT_NE(text.find('`' + column + '`'), std::string::npos) << name << '.' << column;
    }
  }
}

TEST_F(CDatabaseDocument, HasQueriesThatRun) {
  CSql db(Path());
  const SDocument document = ReadDocument();
  EXPECT_GE(document.queries.size(), 10u);
  for (const std::string& query : document.queries) EXPECT_NO_THROW(db.Run(query)) << query;
}

}  // namespace
