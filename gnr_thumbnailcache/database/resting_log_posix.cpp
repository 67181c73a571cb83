#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "gnr_thumbnailcache/database/resting_log.h"

namespace {

bool IsInUnwritableFolder(const std::string& path) {
  const std::string folder = path.substr(0, path.find_last_of('/') + 1);
  return ::faccessat(AT_FDCWD, folder.empty() ? "." : folder.c_str(), W_OK, AT_EACCESS) != 0;
}

bool IsThere(const std::string& path) noexcept {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0 && status.st_size != 0;
}

// The format versions for writing and reading stand behind the magic text and the size of a page.
bool IsInWriteAheadMode(const std::string& path) {
  constexpr std::size_t kVersions = 18;
  constexpr char kWriteAhead = 2;
  std::array<char, kVersions + 2> header{};
  std::ifstream(path, std::ios::binary).read(header.data(), header.size());
  return header[kVersions] == kWriteAhead && header[kVersions + 1] == kWriteAhead;
}

}  // namespace

bool HasRestingLogNobodyCanWrite(const std::string& path) {
  return IsInUnwritableFolder(path) && IsInWriteAheadMode(path) && !IsThere(path + "-wal") && !IsThere(path + "-shm");
}
