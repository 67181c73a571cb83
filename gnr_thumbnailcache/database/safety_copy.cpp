#include "gnr_thumbnailcache/database/safety_copy.h"

#include <sqlite3.h>

#include <cerrno>
#include <ctime>
#include <string>
#include <system_error>

#include "gnr_thumbnailcache/base/new_file.h"
#include "gnr_thumbnailcache/database/connection_owner.h"
#include "system/qvstring.h"

namespace {

std::wstring Widen(const char* text) { return CQvStringUtils::UTF8toW(text).Str(); }

std::string SuffixOfNow() {
  const std::time_t now = std::time(nullptr);
  std::tm utc{};
  gmtime_r(&now, &utc);
  char text[32] = "";
  std::strftime(text, sizeof text, ".saved-%Y%m%d-%H%M%S", &utc);
  return text;
}

CConnectionOwner OpenCopy(const std::string& name, std::wstring* error) {
  sqlite3* db = nullptr;
  const int result = sqlite3_open_v2(name.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOFOLLOW, nullptr);
  CConnectionOwner copy(db);
  if (result == SQLITE_OK) return copy;
  *error = Widen(sqlite3_errstr(result));
  return nullptr;
}

// One step for all pages: nobody writes between them, so the copy is the database of one moment.
bool CopyPages(sqlite3* db, sqlite3* copy, std::wstring* error) {
  sqlite3_backup* backup = sqlite3_backup_init(copy, "main", db, "main");
  const int stepped = backup ? sqlite3_backup_step(backup, -1) : sqlite3_errcode(copy);
  const int finished = backup ? sqlite3_backup_finish(backup) : stepped;
  if (stepped == SQLITE_DONE && finished == SQLITE_OK) return true;
  *error = Widen(sqlite3_errstr(stepped == SQLITE_DONE ? finished : stepped));
  return false;
}

bool CopyInto(sqlite3* db, const std::string& name, std::wstring* error) {
  const CConnectionOwner copy = OpenCopy(name, error);
  return copy && CopyPages(db, copy.get(), error);
}

}  // namespace

std::string CopyDatabaseAside(sqlite3* db, std::wstring* error) {
  const char* path = sqlite3_db_filename(db, "main");
  std::string name = CreateFileBeside(path ? path : "", SuffixOfNow());
  if (name.empty()) {
    *error = Widen(std::generic_category().message(errno).c_str());
    return {};
  }
  if (CopyInto(db, name, error)) return name;
  RemoveFile(name);
  return {};
}
