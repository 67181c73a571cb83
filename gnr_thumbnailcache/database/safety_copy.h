#pragma once

#include <string>

struct sqlite3;

// Copies the database, what its write-ahead log holds included, into a new file beside it, before something is dropped
// that cannot be made again. Returns its name; or the empty string, with the reason in *error and no file left.
std::string CopyDatabaseAside(sqlite3* db, std::wstring* error);
