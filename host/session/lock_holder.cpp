#include "host/session/lock_holder.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

namespace qvhost {
namespace {

// A line of /proc/locks (proc(5)).
struct SFileLock {
  char access[16] = {};  // READ or WRITE
  int process = 0;
  unsigned major = 0, minor = 0;
  unsigned long inode = 0;

  bool Read(const std::string& line) {
    return std::sscanf(line.c_str(), "%*d: %*15s %*15s %15s %d %x:%x:%lu", access, &process, &major, &minor, &inode) ==
           5;
  }
  bool IsOn(const struct stat& file) const {
    return inode == file.st_ino && major == gnu_dev_major(file.st_dev) && minor == gnu_dev_minor(file.st_dev);
  }
};

// The process that has locked the file against others; 0 when the system tells of none.
int FindHolder(const std::string& path) {
  struct stat file;
  if (stat(path.c_str(), &file) != 0) return 0;
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    SFileLock lock;
    if (lock.Read(line) && std::strcmp(lock.access, "WRITE") == 0 && lock.IsOn(file) && lock.process > 0 &&
        lock.process != getpid()) {
      return lock.process;
    }
  }
  return 0;
}

}  // namespace

std::string DescribeLockHolder(const std::string& databasePath) {
  std::error_code error;
  const std::filesystem::path real = std::filesystem::canonical(databasePath, error);
  // In write-ahead mode the locks are on the index, which lies beside the file itself.
  for (const char* tail : {"-shm", ""}) {
    const int process = FindHolder((error ? databasePath : real.string()) + tail);
    if (process == 0) continue;
    std::ifstream file(fmt::format("/proc/{}/comm", process));
    std::string name;
    std::getline(file, name);
    return fmt::format("{} (process {})", name.empty() ? "another program" : name, process);
  }
  return "another program";
}

}  // namespace qvhost
