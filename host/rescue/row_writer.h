#pragma once

#include <array>
#include <optional>

#include "host/rescue/salvage.h"
#include "host/session/sqlite.h"

namespace qvhost {

// Writes rows into a new database that holds the service's tables. Of two with one key the newer one stays, of two of
// one time the first. Throws SQLite::Exception.
class CRowWriter : public IRowSink {
 public:
  explicit CRowWriter(SQLite::Database& db) : m_db(db) {}
  void Put(ETable table, const CRecord& row) override;

 private:
  SQLite::Database& m_db;
  std::array<std::optional<SQLite::Statement>, kTables> m_inserts;
};

}  // namespace qvhost
