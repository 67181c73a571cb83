#pragma once

#include <cstdint>

#include "system/qvstring.h"

struct sqlite3;

// A file that was changed and given its old last-write time back: nothing but its size tells it from the one before.

// Whether the file has another size than `stored`, which is 0 when it is not known. Only of a file whose last-write
// time was set by hand is that asked: any other write changes the time.
bool HasAnotherSize(const CQvStringW& path, std::int64_t stored);
// The same with the size in the file's row of the metadata table.
bool HasAnotherSizeThanStored(sqlite3* db, const CQvStringW& path);

// Deletes the file's rows of the cache table, of all qualities: its metadata row will name the new size, and nothing
// would tell that they are older. Failures leave them.
void ForgetStoredThumbnails(sqlite3* db, const CQvStringW& path);
