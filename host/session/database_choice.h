#pragma once

#include <optional>
#include <string>

#include "host/session/image_view.h"

namespace qvhost {

// Which cache database a command works on, as the user said it.
struct SDatabaseOptions {
  std::string file;       // --db; empty: what QVTHUMBS_DB in the environment names, else the user's own
  bool allUsers = false;  // --all-users
  // Of commands that make or show thumbnails. Those of each view are kept apart.
  std::optional<SViewOptions> view = {};
};

// The file that was chosen.
struct SDatabaseChoice {
  std::string path;  // absolute, in the file system's bytes
  bool allUsers = false;
  bool isDefault = false;  // the user's own
  std::optional<SQvImageView> view = {};
};

// $XDG_CACHE_HOME/qvthumbs/OrbThumbCache.db, with ~/.cache for an unset or relative variable. Throws CHostError when
// there is no home folder either.
std::string DefaultDatabasePath();

// The user's own and that of all users are other files, beside the ordinary one, for another view than the default
// (OrbThumbCache.max.db). Throws CHostError.
SDatabaseChoice ChooseDatabase(const SDatabaseOptions& options);

// The file that a path leads to, through links: SQLite keeps the log and the journal beside that. The path itself when
// it leads to nothing.
std::string RealDatabasePath(const std::string& path);

}  // namespace qvhost
