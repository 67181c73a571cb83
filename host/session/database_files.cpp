#include "host/session/database_files.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <string>

#include "host/host_error.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

struct SRights {
  mode_t folder;
  mode_t file;
  const char* whose;  // for people
};
constexpr SRights kOwn = {0700, 0600, "you alone"};
constexpr SRights kAllUsers = {02770, 0660, "its group alone"};
constexpr const char* kGroup = "qvdocuments";
constexpr mode_t kAllRights = 07777;

const SRights& RightsOf(const SDatabaseChoice& choice) { return choice.allUsers ? kAllUsers : kOwn; }

[[noreturn]] void Fail(const std::string& path, const char* problem) {
  throw CHostError(fmt::format("{} {}: {}; name another with --db FILE", problem, path, std::strerror(errno)));
}

[[noreturn]] void Refuse(const std::string& path, const char* what) {
  throw CHostError(
      fmt::format("{} is {}, and is not followed: what it leads to may be somebody else's. Remove it, or name the "
                  "database that you mean with --db FILE",
                  path, what));
}

// False when there is nothing of that name.
bool LookAt(const std::string& path, struct stat* status) {
  if (lstat(path.c_str(), status) == 0) return true;
  if (errno != ENOENT) Fail(path, "cannot use");
  return false;
}

// Without opening it: closing a file would give up the locks that SQLite holds on it in this process.
void Narrow(const std::string& path, const struct stat& status, mode_t rights, const char* whose) {
  if ((status.st_mode & kAllRights & ~rights) == 0) return;
  if (fchmodat(AT_FDCWD, path.c_str(), status.st_mode & rights, AT_SYMLINK_NOFOLLOW) == 0) {
    std::fprintf(stderr, "qvthumbs: %s was open to other users; it is for %s now\n", path.c_str(), whose);
  }
}

void SecureFolder(const std::string& folder, const SRights& rights) {
  struct stat status;
  if (!LookAt(folder, &status)) return;
  if (S_ISLNK(status.st_mode)) Refuse(folder, "a symbolic link");
  if (S_ISDIR(status.st_mode)) Narrow(folder, status, rights.folder, rights.whose);
}

void SecureFile(const std::string& path, const SRights& rights) {
  struct stat status;
  if (!LookAt(path, &status)) return;
  if (S_ISLNK(status.st_mode)) Refuse(path, "a symbolic link");
  if (!S_ISREG(status.st_mode)) Refuse(path, "no regular file");
  if (status.st_nlink > 1) Refuse(path, "a hard link, one of several names of a file");
  Narrow(path, status, rights.file, rights.whose);
}

void GiveToGroup(const std::string& folder) {
  const group* entry = getgrnam(kGroup);
  if (entry && lchown(folder.c_str(), static_cast<uid_t>(-1), entry->gr_gid) != 0) Fail(folder, "cannot create");
}

void CreateFolder(const fs::path& folder, const SDatabaseChoice& choice) {
  std::error_code error;
  if (fs::is_directory(folder, error)) return;
  // The folders above belong to the user as well (XDG Base Directory Specification).
  if (!choice.allUsers && folder.has_parent_path() && !fs::exists(folder.parent_path(), error)) {
    CreateFolder(folder.parent_path(), choice);
  }
  const mode_t rights = RightsOf(choice).folder;
  if (mkdir(folder.c_str(), rights) != 0) {
    if (errno == EEXIST) return;  // another process was faster
    Fail(folder.string(), "cannot create the folder");
  }
  if (choice.allUsers) GiveToGroup(folder.string());
  if (chmod(folder.c_str(), rights) != 0) Fail(folder.string(), "cannot create the folder");
}

void CreateFile(const fs::path& path, const SDatabaseChoice& choice) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, RightsOf(choice).file);
  if (file < 0) {
    if (errno == EEXIST) return;
    Fail(path.string(), "cannot create");
  }
  struct stat folder;
  bool done = true;
  if (choice.allUsers && stat(path.parent_path().c_str(), &folder) == 0) {
    done = fchown(file, static_cast<uid_t>(-1), folder.st_gid) == 0;
  }
  // SQLite gives the files beside it the same rights.
  done = fchmod(file, RightsOf(choice).file) == 0 && done;
  close(file);
  if (!done) Fail(path.string(), "cannot give its rights to");
}

}  // namespace

void CreateDatabaseFiles(const SDatabaseChoice& choice) {
  const fs::path path = choice.path;
  CreateFolder(path.parent_path(), choice);
  CreateFile(path, choice);
}

void SecureDatabaseFiles(const SDatabaseChoice& choice) {
  const SRights& rights = RightsOf(choice);
  SecureFolder(fs::path(choice.path).parent_path().string(), rights);
  for (const char* tail : {"", "-wal", "-shm", "-journal", ".find", ".find-journal"})
    SecureFile(choice.path + tail, rights);
}

}  // namespace qvhost
