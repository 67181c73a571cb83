#pragma once

#include <string>
#include <string_view>

#include "host/session/sqlite.h"

namespace qvhost {

// What marks a database as another program's: "it has a table 'visits'". Empty for a thumbnail database of this or an
// older version, which may hold further tables when all of its own are there; for a part of one, as an interrupted
// first use leaves it; and for an empty file. Throws SQLite::Exception when the file cannot be read.
std::string FindForeignForm(const SQLite::Database& db);

// The columns that every version has made one of the service's tables with, each with a blank behind it.
std::string_view ColumnsOfForm(std::string_view table) noexcept;
// The same as a list in SQL.
std::string ColumnListOfForm(std::string_view table);

}  // namespace qvhost
