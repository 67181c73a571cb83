#pragma once

#include "gnr_thumbnailcache/database/text_information.h"
#include "gnr_thumbnailcache/textinfo/young_files.h"
#include "system/qvstring.h"

struct sqlite3;

// The metadata table: a row a file, valid while the file's last-write stamp and its size are the row's. Null instead of
// a connection means that no database is open: nothing is found and nothing saved.

// What tells a file from what it was. All 0 for a missing file.
struct SFileStamp {
  double lastWritten = 0.0;  // the low half of the last-write time
  std::int64_t size = 0;     // bytes
};

// To be taken before the file is read. Taken afterwards, it would vouch for content that nobody has read when somebody
// wrote meanwhile.
SFileStamp TakeFileStamp(const CQvStringW& path);

// What a file said about itself, and what told it from others before it was read.
struct SReadFile {
  STextInformation info;
  SFileStamp stamp;
  SFileReading reading;
};

// The text information of a file: its row's, else what the file says, which is saved then. False when neither gives
// any; `info` may then be partly reset (see ExtractFileTextInfo).
bool GetFileTextInfo(sqlite3* db, const CQvStringW& path, CYoungFiles& youngFiles, STextInformation& info);

// The file's row with that stamp, whatever its size. False, `info` untouched, when there is none.
bool ReadFileTextInfoFromDatabase(sqlite3* db, const CQvStringW& path, const SFileStamp& stamp, STextInformation& info);
// Replaces the file's row. Failures are reported only.
void SaveFileTextInfoToDatabase(sqlite3* db, const CQvStringW& path, const SFileStamp& stamp,
                                const STextInformation& info);
