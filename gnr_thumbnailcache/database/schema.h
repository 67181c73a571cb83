#pragma once

#include <cstdint>

struct sqlite3;

// The five tables of the database. Each check makes sure that its table exists with the expected columns: a missing
// table is created, one whose columns do not match is dropped with its rows and created anew. Extra columns do no harm.
// Before `experiments` or `history` are dropped, which cannot be made again, the file is copied aside.
// Returns 0; or -9 after the failure was reported, and then the connection is closed and must not be used any more.
std::int32_t CheckCacheTable(sqlite3* db);
std::int32_t CheckMetadataTable(sqlite3* db);
std::int32_t CheckExperimentsTable(sqlite3* db);
// Also adds the userID column that older files lack.
std::int32_t CheckHistoryTable(sqlite3* db);
// A table of an old format is not dropped: opening fails until the file is removed.
std::int32_t CheckStoredTable(sqlite3* db);
