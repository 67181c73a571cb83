#include "gnr_thumbnailcache/base/new_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

// Owner and group as far as this process may give them; the group's rights only to the same group.
bool CopyRights(const struct stat& original, int file) noexcept {
  if (::fchown(file, original.st_uid, original.st_gid) != 0 && ::fchown(file, -1, original.st_gid) != 0) errno = 0;
  struct stat created;
  if (::fstat(file, &created) != 0) return false;
  mode_t mode = S_IRUSR | S_IWUSR | (original.st_mode & (S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH));
  if (created.st_gid != original.st_gid) mode &= ~static_cast<mode_t>(S_IRGRP | S_IWGRP);
  return ::fchmod(file, mode) == 0;
}

}  // namespace

std::string CreateFileBeside(const std::string& path, const std::string& suffix) {
  constexpr int kLastNumber = 1000;
  struct stat original;
  if (::stat(path.c_str(), &original) != 0) return {};
  for (int number = 1; number <= kLastNumber; ++number) {
    std::string name = path + suffix;
    if (number != 1) name.append("-").append(std::to_string(number));
    const int file = ::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file >= 0) {
      const bool copied = CopyRights(original, file);
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
