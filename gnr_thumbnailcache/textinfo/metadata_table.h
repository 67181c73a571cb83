#pragma once

#include "gnr_thumbnailcache/database/text_information.h"
#include "system/qvstring.h"

struct sqlite3;

// The metadata table: a row a file, valid while the file's last-write stamp is the row's. Null instead of a connection
// means that no database is open: nothing is found and nothing saved.

// The text information of a file: its row's, else what the file says, which is saved then. False when neither gives
// any; `info` may then be partly reset (see ExtractFileTextInfo).
bool GetFileTextInfo(sqlite3* db, const CQvStringW& path, STextInformation& info);

// False, `info` untouched, when there is no valid row.
bool ReadFileTextInfoFromDatabase(sqlite3* db, const CQvStringW& path, STextInformation& info);
// Replaces the file's row. Failures are reported only.
void SaveFileTextInfoToDatabase(sqlite3* db, const CQvStringW& path, const STextInformation& info);
