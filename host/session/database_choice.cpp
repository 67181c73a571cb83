#include "host/session/database_choice.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "host/host_error.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

// Names the database where --db does not.
constexpr const char* kDatabaseVariable = "QVTHUMBS_DB";
constexpr const char* kFileName = "OrbThumbCache.db";
constexpr const char* kFileNameOfView = "OrbThumbCache.{}.db";
// Where the service keeps the database that all users share.
constexpr const char* kSharedFolder = "/var/lib/qvdocuments";

fs::path HomeFolder() {
  if (const char* home = std::getenv("HOME"); home && home[0] == '/') return home;
  if (const passwd* entry = getpwuid(getuid()); entry && entry->pw_dir && entry->pw_dir[0] == '/') return entry->pw_dir;
  throw CHostError("there is no home folder to keep thumbnails in; name a database with --db FILE");
}

fs::path CacheFolder() {
  // The base directory specification says to ignore a relative value.
  if (const char* cache = std::getenv("XDG_CACHE_HOME"); cache && cache[0] == '/') return cache;
  return HomeFolder() / ".cache";
}

// Empty: none is named.
std::string NamedFile(const SDatabaseOptions& options) {
  const char* variable = std::getenv(kDatabaseVariable);
  return options.file.empty() && variable ? variable : options.file;
}

SDatabaseChoice ChooseFile(const SDatabaseOptions& options) {
  if (options.allUsers && !options.file.empty()) {
    throw CHostError("--db and --all-users name two databases; give one of them");
  }
  if (options.allUsers) return {std::string(kSharedFolder) + "/" + kFileName, true, false, {}};
  const std::string file = NamedFile(options);
  if (file.empty()) return {DefaultDatabasePath(), false, true, {}};
  return {fs::absolute(file).lexically_normal().string(), false, false, {}};
}

}  // namespace

std::string DefaultDatabasePath() { return (CacheFolder() / "qvthumbs" / kFileName).string(); }

SDatabaseChoice ChooseDatabase(const SDatabaseOptions& options) {
  SDatabaseChoice choice = ChooseFile(options);
  if (!options.view) return choice;
  choice.view = ViewOf(*options.view);
  const std::string view = ViewName(*choice.view);
  if (!view.empty() && (choice.isDefault || choice.allUsers)) {
    choice.path = fs::path(choice.path).replace_filename(fmt::format(kFileNameOfView, view)).string();
  }
  return choice;
}

std::string RealDatabasePath(const std::string& path) {
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return error ? path : real.string();
}

}  // namespace qvhost
