#pragma once

#include <array>
#include <string>

namespace qvhost {

// Which cache database a command works on, as the user said it.
struct SDatabaseOptions {
  std::string file;       // --db; empty: the user's own
  bool allUsers = false;  // --all-users
};

// The file that was chosen.
struct SDatabaseChoice {
  std::string path;  // absolute, in the file system's bytes
  bool allUsers = false;
  bool isDefault = false;  // the user's own
};

// The tables of a thumbnail database.
constexpr std::array<const char*, 5> kDatabaseTables = {"cache", "metadata", "experiments", "history", "stored"};

// $XDG_CACHE_HOME/qvthumbs/OrbThumbCache.db, with ~/.cache for an unset or relative variable. Throws CHostError when
// there is no home folder either.
std::string DefaultDatabasePath();

SDatabaseChoice ChooseDatabase(const SDatabaseOptions& options);

// Makes sure that the service may be let loose on the file. A missing one is created empty, in write-ahead mode (each
// new thumbnail then costs two disk syncs instead of eight); with `mustExist` it is an error. A database of another
// program is refused, because the service re-creates tables whose columns it does not know. Throws CHostError.
void PrepareDatabase(const SDatabaseChoice& choice, bool mustExist);

// What to do about a database that the service could not open for `reason`.
std::string ExplainFailedOpen(const SDatabaseChoice& choice, const std::string& reason);

}  // namespace qvhost
