#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/base/shared_folder.h"
#include "system/qvstring.h"

std::wstring GetSharedDocumentsFolder() {
  // Packages create it for a group; one made here belongs to the group of whoever came first. mkdir knows no setgid
  // bit.
  constexpr const char* kFolder = "/var/lib/qvdocuments";
  if (mkdir(kFolder, 0770) == 0) chmod(kFolder, 02770);
  return L"/var/lib/qvdocuments/";
}

// The descriptor is a mere path: closing a true one would release the locks that SQLite holds on the file.
void ShareWithGroup(const std::wstring& path) noexcept {
  constexpr mode_t kMode = S_IRUSR | S_IWUSR | S_IRGRP | S_IWGRP;
  Guarded(false, [&] {
    const int file = ::open(CQvStringUtils::WtoUTF8(path.c_str()).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC);
    struct stat status;
    const bool own = file >= 0 && ::fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_nlink == 1 &&
                     status.st_uid == ::geteuid();
    const bool done = own && (status.st_mode & 07777) != kMode &&
                      ::chmod(("/proc/self/fd/" + std::to_string(file)).c_str(), kMode) == 0;
    if (file >= 0) ::close(file);
    return done;
  });
}
