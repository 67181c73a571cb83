#pragma once

#include <string>

#include "host/session/database_choice.h"
#include "host/session/sqlite.h"

namespace qvhost {

// Opens an existing thumbnail database without the service, for what only looks at the rows or clears some away; `path`
// receives its file. Throws CHostError when it is missing or lacks a table.
SQLite::Database OpenCacheDatabase(const SDatabaseOptions& options, std::string* path);

}  // namespace qvhost
