#pragma once

#include "system/qvstring.h"

struct sqlite3;

// A file that was changed and given its old last-write time back: nothing but its size tells it from the one before.

// Whether the file's row of the metadata table names another size than the file has. The row is asked only when the
// file's last-write time was set by hand, since any other write changes it.
bool HasAnotherSizeThanStored(sqlite3* db, const CQvStringW& path);

// Deletes the file's rows of the cache table, of all qualities: its metadata row will name the new size, and nothing
// would tell that they are older. Failures leave them.
void ForgetStoredThumbnails(sqlite3* db, const CQvStringW& path);
