#include "host/shards/shard_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

std::string LockPath(const std::string& database) { return database + ".lock"; }

// Whoever had the lock before may have taken the file away since it was opened.
bool IsStillThere(const std::string& path, int file) {
  struct stat named, opened;
  return stat(path.c_str(), &named) == 0 && fstat(file, &opened) == 0 && named.st_ino == opened.st_ino &&
         named.st_dev == opened.st_dev;
}

}  // namespace

CShardLock::CShardLock(const std::string& database) : m_path(LockPath(database)) {
  do {
    if (m_file >= 0) close(m_file);
    m_file = open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0666);
    if (m_file < 0) throw CHostError(fmt::format("cannot create {}: {}", Printable(m_path), std::strerror(errno)));
    if (flock(m_file, LOCK_EX | LOCK_NB) != 0) {
      const int reason = errno;
      close(m_file);
      if (reason == EWOULDBLOCK) {
        throw CHostError(
            fmt::format("{} is being made by another process; let it end, or end it, first", Printable(database)));
      }
      throw CHostError(fmt::format("{} cannot be locked: {}; keep shards where files can be locked", Printable(m_path),
                                   std::strerror(reason)));
    }
  } while (!IsStillThere(m_path, m_file));
}

CShardLock::~CShardLock() {
  unlink(m_path.c_str());
  close(m_file);
}

bool CShardLock::IsHeld(const std::string& database) {
  const int file = open(LockPath(database).c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool isHeld = flock(file, LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  close(file);
  return isHeld;
}

}  // namespace qvhost
