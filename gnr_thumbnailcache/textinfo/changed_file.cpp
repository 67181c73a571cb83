#include "gnr_thumbnailcache/textinfo/changed_file.h"

#include "gnr_thumbnailcache/base/file_state.h"
#include "gnr_thumbnailcache/database/statement.h"
#include "system/qvthumbnaildescription.h"

namespace {

bool WasTimeSetByHand(const CQvStringW& path, SFileState* file) {
  return ReadFileState(path, file) && file->lastChange > file->lastWrite;
}

}  // namespace

bool HasAnotherSize(const CQvStringW& path, std::int64_t stored) {
  SFileState file;
  return stored != 0 && WasTimeSetByHand(path, &file) && stored != file.size;
}

bool HasAnotherSizeThanStored(sqlite3* db, const CQvStringW& path) {
  SFileState file;
  if (!WasTimeSetByHand(path, &file)) return false;
  CStatement statement(db, "SELECT M_fileSize FROM metadata WHERE filename = :FN");
  statement.BindText16(1, path);
  if (statement.Step() != SQLITE_ROW) return false;
  const std::int64_t stored = statement.GetInt64(0);
  return stored != 0 && stored != file.size;
}

void ForgetStoredThumbnails(sqlite3* db, const CQvStringW& path) {
  CStatement statement(db, "DELETE FROM cache WHERE filename = :FN");
  statement.BindText(1, CQvStringUtils::WtoUTF8(SQvThumbnailDescription::LowerCase(path)));
  statement.Step();
}
