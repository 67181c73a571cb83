#include "tests/support/disk_syncs.h"

#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "system/qvexport.h"
#include "tests/support/next_function.h"

namespace {

int CountSync(const char* function, int file) {
  std::error_code error;
  const std::string name = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file), error).string();
  if (name.find("cache.db") != name.npos) ++qvtest::SDiskSyncs::count;
  if (qvtest::SDiskSyncs::fail) {
    errno = EIO;
    return -1;
  }
  return qvtest::NextFunction<int (*)(int)>(function)(file);
}

}  // namespace

extern "C" {
QV_EXPORT int fsync(int file) { return CountSync("fsync", file); }
QV_EXPORT int fdatasync(int file) { return CountSync("fdatasync", file); }
}
