#pragma once

#include <cstdint>
#include <vector>

#include "host/session/prepared_database.h"
#include "host/session/sqlite.h"

namespace qvhost {

// A thumbnail database without the service, for what only looks at the rows or clears some away. Throws CHostError when
// it is missing or lacks a table.
class CCacheDatabase {
 public:
  CCacheDatabase(const SDatabaseOptions& options, EDatabaseNeed need);

  SQLite::Database& Connection() noexcept { return m_db; }
  // Whether a copy of the chosen file is read, which may not be written to.
  bool IsCopy() const noexcept { return m_prepared.IsCopy(); }
  // The chosen file, even when a copy of it is read.
  const std::string& Path() const noexcept { return m_prepared.Choice().path; }

 private:
  CPreparedDatabase m_prepared;  // outlives the connection
  SQLite::Database m_db;
};

// Deletes rows of a table, all or none. Throws SQLite::Exception.
void DeleteRows(SQLite::Database& db, const char* table, const std::vector<std::int64_t>& rowids);

}  // namespace qvhost
