#include "host/session/cache_database.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qvhost {

CCacheDatabase::CCacheDatabase(const SDatabaseOptions& options, EDatabaseNeed need)
    : m_prepared(ChooseDatabase(options), need), m_db(OpenConnection(m_prepared.Path(), SQLite::OPEN_READWRITE)) {
  for (const char* table : {"cache", "metadata", "experiments", "history", "stored"}) {
    if (m_db.tableExists(table)) continue;
    throw CHostError(ExplainFailedOpen(m_prepared.Choice(),
                                       fmt::format("it has no table '{}' yet; 'qvthumbs make' makes it", table)));
  }
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
