#pragma once

#include <string>

// Whether the database file is kept in write-ahead mode, its log holds nothing, and nobody can work with a log because
// no file can be made beside it: a read-only medium, or a folder of somebody else's. SQLite refuses to read such a file
// unless it is told that it will not change (immutable).
bool HasRestingLogNobodyCanWrite(const std::string& path);
