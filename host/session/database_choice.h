#pragma once

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

// $XDG_CACHE_HOME/qvthumbs/OrbThumbCache.db, with ~/.cache for an unset or relative variable. Throws CHostError when
// there is no home folder either.
std::string DefaultDatabasePath();

SDatabaseChoice ChooseDatabase(const SDatabaseOptions& options);

}  // namespace qvhost
