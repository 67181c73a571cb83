#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/session/database_choice.h"
#include "host/session/sqlite.h"

namespace qvhost {

// Opens an existing thumbnail database without the service, for what only looks at the rows or clears some away; `path`
// receives its file. Throws CHostError when it is missing or lacks a table.
SQLite::Database OpenCacheDatabase(const SDatabaseOptions& options, std::string* path);

// Deletes rows of a table, all or none. Throws SQLite::Exception.
void DeleteRows(SQLite::Database& db, const char* table, const std::vector<std::int64_t>& rowids);

}  // namespace qvhost
