#include "host/shards/reading_uri.h"

#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host/output/html.h"
#include "host/session/database_choice.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

bool MayWrite(const fs::path& path) {
  return access(path.c_str(), W_OK) == 0 && access(path.parent_path().c_str(), W_OK) == 0;
}

bool LogLiesBeside(const fs::path& path) {
  for (const char* tail : {"-wal", "-journal"}) {
    std::error_code error;
    const std::uintmax_t size = fs::file_size(path.string() + tail, error);
    if (!error && size > 0) return true;
  }
  return false;
}

// Byte 18 of the header is 2 in write-ahead mode (SQLite's file format).
bool IsInWriteAheadMode(const fs::path& path) {
  constexpr std::streamoff kWriteVersion = 18;
  std::ifstream file(path, std::ios::binary);
  return file.seekg(kWriteVersion) && file.get() == 2;
}

std::string UriOf(const std::string& path, const char* parameters) {
  return "file:" + PercentEncoded(path) + "?" + parameters;
}

}  // namespace

bool HasLog(const std::string& path) { return LogLiesBeside(RealDatabasePath(path)); }

std::optional<std::string> FindReadingUri(const std::string& path) {
  const fs::path real = RealDatabasePath(path);
  if (MayWrite(real)) return UriOf(real.string(), "mode=rw");
  if (LogLiesBeside(real)) return std::nullopt;
  // To read in write-ahead mode SQLite writes an index beside the file; it needs none where nobody can write.
  return UriOf(real.string(), IsInWriteAheadMode(real) ? "immutable=1" : "mode=ro");
}

std::string UnchangingUri(const std::string& path) { return UriOf(RealDatabasePath(path), "immutable=1"); }

}  // namespace qvhost
