#include "tests/host/support/rows.h"

#include <SQLiteCpp/Database.h>

namespace {

SQLite::Database Open(const std::string& database) {
  return SQLite::Database(database, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, 5000);
}

}  // namespace

std::string QueryText(const std::string& database, const std::string& sql) {
  const SQLite::Database db = Open(database);
  SQLite::Statement row(db, sql);
  return row.executeStep() ? row.getColumn(0).getString() : std::string();
}

std::int64_t QueryInt(const std::string& database, const std::string& sql) {
  const std::string text = QueryText(database, sql);
  return text.empty() ? -1 : std::stoll(text);
}

void Execute(const std::string& database, const std::string& sql) { Open(database).exec(sql); }
