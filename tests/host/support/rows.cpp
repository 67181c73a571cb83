#include "tests/host/support/rows.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>

namespace {

struct SClose {
  void operator()(sqlite3* db) const noexcept { sqlite3_close(db); }
};

std::unique_ptr<sqlite3, SClose> Open(const std::string& database) {
  sqlite3* db = nullptr;
  EXPECT_EQ(sqlite3_open_v2(database.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr), SQLITE_OK)
      << database;
  sqlite3_busy_timeout(db, 5000);
  return std::unique_ptr<sqlite3, SClose>(db);
}

int KeepFirst(void* first, int, char** columns, char**) {
  auto* text = static_cast<std::string*>(first);
  if (text->empty() && columns[0]) *text = columns[0];
  return 0;
}

}  // namespace

std::string QueryText(const std::string& database, const std::string& sql) {
  const auto db = Open(database);
  std::string first;
  EXPECT_EQ(sqlite3_exec(db.get(), sql.c_str(), &KeepFirst, &first, nullptr), SQLITE_OK)
      << sql << ": " << sqlite3_errmsg(db.get());
  return first;
}

std::int64_t QueryInt(const std::string& database, const std::string& sql) {
  const std::string text = QueryText(database, sql);
  return text.empty() ? -1 : std::stoll(text);
}

void Execute(const std::string& database, const std::string& sql) { QueryText(database, sql); }
