#include "host/session/database_choice.h"

#include <fmt/format.h>
#include <pwd.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "host/host_error.h"
#include "host/session/sqlite.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFileName = "OrbThumbCache.db";
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

bool IsOwnTable(const std::string& table) {
  return std::find(kDatabaseTables.begin(), kDatabaseTables.end(), table) != kDatabaseTables.end() ||
         table.starts_with("sqlite_");
}

// Name of a table that marks another program's database; empty when the file is a thumbnail database, whatever else it
// holds, or a new one. A file that SQLite cannot read is left to the service, which reports it.
std::string FindForeignTable(const std::string& path) {
  std::string foreign;
  try {
    const SQLite::Database db = OpenConnection(path, SQLite::OPEN_READONLY);
    SQLite::Statement tables(db, "SELECT name FROM sqlite_master WHERE type = 'table'");
    while (tables.executeStep()) {
      const std::string table = tables.getColumn(0).getString();
      if (!IsOwnTable(table)) foreign = table;
    }
    if (!foreign.empty()) SQLite::Statement(db, "SELECT filename, lastWritten, flags, binData, quality FROM cache");
  } catch (const std::runtime_error&) {
    return foreign;
  }
  return {};
}

void CreateFolders(const fs::path& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) {
    throw CHostError(fmt::format("cannot create the folder {}: {}; name a database with --db FILE", folder.string(),
                                 error.message()));
  }
}

void CreateInWriteAheadMode(const std::string& path) {
  const fs::path folder = fs::path(path).parent_path();
  std::error_code error;
  if (!fs::is_directory(folder, error)) {
    throw CHostError(
        fmt::format("the folder {} does not exist; create it first, or choose another --db FILE", folder.string()));
  }
  SQLite::Database db = OpenConnection(path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
  // A file system without shared memory keeps the rollback journal, which serves as well, only slower.
  db.exec("PRAGMA journal_mode=WAL");
}

}  // namespace

std::string DefaultDatabasePath() { return (CacheFolder() / "qvthumbs" / kFileName).string(); }

SDatabaseChoice ChooseDatabase(const SDatabaseOptions& options) {
  if (options.allUsers && !options.file.empty()) {
    throw CHostError("--db and --all-users name two databases; give one of them");
  }
  if (options.allUsers) return {std::string(kSharedFolder) + "/" + kFileName, true, false};
  if (options.file.empty()) return {DefaultDatabasePath(), false, true};
  return {fs::absolute(options.file).lexically_normal().string(), false, false};
}

void PrepareDatabase(const SDatabaseChoice& choice, bool mustExist) {
  std::error_code error;
  const fs::file_status status = fs::status(choice.path, error);
  if (status.type() == fs::file_type::not_found) {
    if (mustExist) {
      throw CHostError(fmt::format("there is no database {} yet; 'qvthumbs make' creates it", choice.path));
    }
    if (choice.isDefault) CreateFolders(fs::path(choice.path).parent_path());
    if (!choice.allUsers) CreateInWriteAheadMode(choice.path);
    return;
  }
  if (const std::string table = FindForeignTable(choice.path); !table.empty()) {
    throw CHostError(fmt::format("{} is another program's database (it has a table '{}'); choose another --db FILE",
                                 choice.path, table));
  }
}

std::string ExplainFailedOpen(const SDatabaseChoice& choice, const std::string& reason) {
  std::string text = fmt::format("cannot open the database {}: {}", choice.path,
                                 reason.empty() ? std::string("the service gave no reason") : reason);
  if (choice.allUsers && (access(kSharedFolder, W_OK) != 0 ||
                          (access(choice.path.c_str(), F_OK) == 0 && access(choice.path.c_str(), W_OK) != 0))) {
    text += fmt::format(
        "\nThe shared folder and the database in it must be writable for you. Ask an administrator to add you to "
        "their\n"
        "group, or to make them writable for a GROUP that you belong to:\n"
        "  install -d -m 2775 -g GROUP {0}\n"
        "  touch {1} && chgrp GROUP {1} && chmod g+w {1}\n"
        "Or leave --all-users away to use a database of your own.",
        kSharedFolder, choice.path);
  }
  return text;
}

}  // namespace qvhost
