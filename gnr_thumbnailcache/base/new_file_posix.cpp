#include "gnr_thumbnailcache/base/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

// The original's mode, without the group's part when the new file is another group's.
mode_t ChooseMode(const struct stat& original, const struct stat& created) noexcept {
  const mode_t mode = original.st_mode & (S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH);
  return original.st_gid == created.st_gid ? mode : mode & ~static_cast<mode_t>(S_IRGRP | S_IWGRP);
}

bool CopyMode(const struct stat& original, int file) noexcept {
  struct stat created;
  return ::fstat(file, &created) == 0 && ::fchmod(file, ChooseMode(original, created) | S_IRUSR | S_IWUSR) == 0;
}

}  // namespace

std::string CreateFileBeside(const std::string& path, const std::string& suffix) {
  constexpr int kLastNumber = 1000;
  struct stat original;
  if (::stat(path.c_str(), &original) != 0) return {};
  for (int number = 1; number <= kLastNumber; ++number) {
    std::string name = path + suffix + (number == 1 ? "" : "-" + std::to_string(number));
    const int file = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file >= 0) {
      const bool copied = CopyMode(original, file);
      ::close(file);
      if (copied) return name;
      RemoveFile(name);
      return {};
    }
    if (errno != EEXIST) return {};
  }
  return {};
}

void RemoveFile(const std::string& path) noexcept { ::unlink(path.c_str()); }
