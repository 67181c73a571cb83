#include "host/session/database_error.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <initializer_list>

#include "host/session/lock_holder.h"

namespace qvhost {
namespace {

struct SFileInUse {
  std::string path;
  bool isLibrary = false;
};

SFileInUse& FileInUse() {
  static SFileInUse file;
  return file;
}

// SQLite's text of an error code is part of what it says.
bool Says(const std::string& said, std::initializer_list<int> codes) {
  return std::any_of(codes.begin(), codes.end(),
                     [&said](int code) { return said.find(sqlite3_errstr(code)) != said.npos; });
}

}  // namespace

void SetDatabaseInUse(const std::string& path) { FileInUse() = {path, false}; }
void SetLibraryInUse(const std::string& path) { FileInUse() = {path, true}; }

std::string ExplainDatabaseError(const std::string& said) {
  const std::string& path = FileInUse().path;
  if (Says(said, {SQLITE_FULL})) {
    return fmt::format("there is no room left for {} ({}); make room on its disk and run again", path, said);
  }
  if (Says(said, {SQLITE_CORRUPT, SQLITE_NOTADB})) {
    return fmt::format("{} is damaged ({}); {}", path, said,
                       FileInUse().isLibrary
                           ? "import the images into a new library"
                           : "'qvthumbs verify' tells how far, and 'qvthumbs rescue' saves what can be read");
  }
  if (Says(said, {SQLITE_IOERR})) {
    return fmt::format("{} cannot be read or written ({}); see whether its disk is sound and has room", path, said);
  }
  if (Says(said, {SQLITE_READONLY})) {
    return fmt::format("{} may not be written to ({}); choose another --db FILE", path, said);
  }
  if (Says(said, {SQLITE_BUSY, SQLITE_LOCKED})) {
    return fmt::format("{} is locked by {}; run again when that is done", path, DescribeLockHolder(path));
  }
  return said;
}

std::string ExplainDamage(const std::string& found) {
  return fmt::format(
      "{0} is damaged: {1}\n"
      "Keep it. What can be read of it, experiments, history and stored items first, is written to a new database by\n"
      "  qvthumbs rescue '{0}' NEW.db\n"
      "Thumbnails and texts that are missing then come back with 'qvthumbs make'.",
      FileInUse().path, found);
}

bool IsLastingError(const std::string& said) {
  return Says(said, {SQLITE_FULL, SQLITE_CORRUPT, SQLITE_NOTADB, SQLITE_IOERR, SQLITE_READONLY});
}

}  // namespace qvhost
