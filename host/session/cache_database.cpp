#include "host/session/cache_database.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qvhost {

SQLite::Database OpenCacheDatabase(const SDatabaseOptions& options, std::string* path) {
  const SDatabaseChoice choice = ChooseDatabase(options);
  PrepareDatabase(choice, true);
  *path = choice.path;
  std::string reason;
  try {
    SQLite::Database db = OpenConnection(choice.path, SQLite::OPEN_READWRITE);
    for (const char* table : kDatabaseTables) {
      if (!db.tableExists(table)) reason = fmt::format("it has no table '{}' yet; 'qvthumbs make' makes it", table);
    }
    if (reason.empty()) return db;
  } catch (const std::runtime_error& error) {
    reason = ErrorText(error);
  }
  throw CHostError(ExplainFailedOpen(choice, reason));
}

void DeleteRows(SQLite::Database& db, const char* table, const std::vector<std::int64_t>& rowids) {
  SQLite::Transaction transaction(db, SQLite::TransactionBehavior::IMMEDIATE);
  SQLite::Statement remove(db, fmt::format("DELETE FROM {} WHERE rowid = ?1", table));
  for (const std::int64_t rowid : rowids) {
    remove.bind(1, rowid);
    remove.exec();
    remove.reset();
  }
  transaction.commit();
}

}  // namespace qvhost
