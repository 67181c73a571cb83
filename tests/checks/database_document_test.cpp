// docs/database.md shows tables and queries. They must be the tables that the service makes, and queries that run.

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "system/qvrtti.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace {

using Database = std::unique_ptr<sqlite3, decltype(&sqlite3_close)>;
using Statement = std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)>;

Database Open(const std::string& path) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open(path.c_str(), &db), SQLITE_OK);
  return {db, &sqlite3_close};
}

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

class DatabaseDocument : public testing::Test {
 protected:
  void SetUp() override {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base ? base : "/tmp") + "/qvdocument-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    m_folder = pattern;
    MakeDatabase();
  }
  void TearDown() override { std::filesystem::remove_all(m_folder); }

  std::string Path() const { return (m_folder / "made.db").string(); }

  std::map<std::string, std::string> MadeTables() const {
    const Database db = Open(Path());
    sqlite3_stmt* raw = nullptr;
    sqlite3_prepare_v2(db.get(), "SELECT name, sql FROM sqlite_master WHERE type = 'table'", -1, &raw, nullptr);
    const Statement statement(raw, &sqlite3_finalize);
    std::map<std::string, std::string> tables;
    while (sqlite3_step(raw) == SQLITE_ROW) {
      tables[reinterpret_cast<const char*>(sqlite3_column_text(raw, 0))] =
          reinterpret_cast<const char*>(sqlite3_column_text(raw, 1));
    }
    return tables;
  }

 private:
  void MakeDatabase() const {
    CQvRTTI::ScanFolder(CQvRTTI::GetLibraryFolder().c_str());
    IQvInterface* object =
        CQvRTTI::CreateAndQuery("CQvThumbnailCacheImpl", "IQvThumbnailCache", SQvFileLine(__FILE__, __LINE__));
    auto* cache = dynamic_cast<IQvThumbnailCache*>(object);
    ASSERT_NE(cache, nullptr);
    EXPECT_EQ(cache->OpenDatabase(CQvStringUtils::UTF8toW(Path().c_str()).c_str()), 0);
    EXPECT_EQ(cache->CloseDatabase(), 0);
    CQvRTTI::Release(object);
  }

  std::filesystem::path m_folder;
};

TEST_F(DatabaseDocument, ShowsTheTablesThatTheServiceMakes) {
  const std::map<std::string, std::string> made = MadeTables();
  ASSERT_EQ(made.size(), 5u);
  const SDocument document = ReadDocument();
  // The wide metadata table is explained column by column instead.
  EXPECT_EQ(document.tables.size(), 4u);
  for (const std::string& text : document.tables) {
    const std::string name = text.substr(13, text.find(' ', 13) - 13);
    ASSERT_TRUE(made.count(name)) << name;
    EXPECT_EQ(text, made.at(name));
  }
}

TEST_F(DatabaseDocument, ExplainsEveryColumn) {
  std::ifstream file(QV_DATABASE_DOCUMENT);
  const std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  const Database db = Open(Path());
  for (const auto& [name, sql] : MadeTables()) {
    sqlite3_stmt* raw = nullptr;
    sqlite3_prepare_v2(db.get(), ("PRAGMA table_info(" + name + ")").c_str(), -1, &raw, nullptr);
    const Statement statement(raw, &sqlite3_finalize);
    while (sqlite3_step(raw) == SQLITE_ROW) {
      const std::string column = reinterpret_cast<const char*>(sqlite3_column_text(raw, 1));
      EXPECT_NE(text.find('`' + column + '`'), std::string::npos) << name << '.' << column;
    }
  }
}

TEST_F(DatabaseDocument, HasQueriesThatRun) {
  const Database db = Open(Path());
  const SDocument document = ReadDocument();
  EXPECT_GE(document.queries.size(), 10u);
  for (const std::string& query : document.queries) {
    char* message = nullptr;
    EXPECT_EQ(sqlite3_exec(db.get(), query.c_str(), nullptr, nullptr, &message), SQLITE_OK)
        << query << (message ? message : "");
    sqlite3_free(message);
  }
}

}  // namespace
