#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "platform/system/folder_listing.h"
#include "platform/system/path_resolver.h"
#include "platform/system/posix_handles.h"
#include "system/qvdiag.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

int OpenNative(const std::string& path) noexcept {
  int fd = -1;
  do {
    // Non-blocking, so that a FIFO without a writer does not hold the caller.
    fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  } while (fd < 0 && errno == EINTR);
  return fd;
}

bool Exists(const std::string& path) noexcept {
  struct stat status;
  return ::stat(path.c_str(), &status) == 0;
}

bool IsRegularFile(int fd) noexcept {
  struct stat status;
  return ::fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

void Tell(const std::string& folder, const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + name;
  const CQvStringW where = CQvStringUtils::UTF8toW(folder), which = CQvStringUtils::UTF8toW(list);
  DiagOutputExW_hlp("platform/system/file", -1);
  DiagOutputExW(L"FILES: names in %s that differ in case only, and are one to whoever asks without regard to it: %s",
                where.c_str(), which.c_str());
}

// Once for each folder and name, while the folder is remembered.
void TellOfCaseTwins(const std::string& path) noexcept {
  try {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const std::vector<std::string> names = CFolderListings::Instance().TakeUntoldTwins(folder, name);
    if (!names.empty()) Tell(folder, names);
  } catch (...) {
    // It is a notice only.
  }
}

SQvFileTime ToFileTime(const struct statx_timestamp& time) noexcept {
  constexpr std::int64_t kUnixEpochSeconds = 11'644'473'600;  // from 1601-01-01 to 1970-01-01
  constexpr std::int64_t kLastSecond = std::numeric_limits<std::int64_t>::max() / 10'000'000 - kUnixEpochSeconds - 1;
  if (time.tv_sec < -kUnixEpochSeconds || time.tv_sec > kLastSecond) return {};
  const auto seconds = static_cast<std::uint64_t>(time.tv_sec + kUnixEpochSeconds);
  return SQvFileTime::FromTicks(seconds * 10'000'000 + time.tv_nsec / 100);
}

// Follows symbolic links. With an empty path and AT_EMPTY_PATH it is the descriptor that is asked.
bool ReadStatus(int folder, const char* path, int flags, SQvFindData* data) noexcept {
  struct statx status;
  if (::statx(folder, path, flags, STATX_BASIC_STATS | STATX_BTIME, &status) != 0) return false;
  data->isFolder = S_ISDIR(status.stx_mode) ? 1 : 0;
  data->lastAccessTime = ToFileTime(status.stx_atime);
  data->lastWriteTime = ToFileTime(status.stx_mtime);
  data->creationTime = status.stx_mask & STATX_BTIME ? ToFileTime(status.stx_btime) : data->lastWriteTime;
  data->size = static_cast<std::int64_t>(status.stx_size);
  return true;
}

// What a search hands out: it has no state, closing it only has to be possible.
const char kOpenSearch = 0;

}  // namespace

std::int32_t QV_OpenFile(const wchar_t* path, std::uint32_t access, std::uint32_t /*share*/,
                         std::uint32_t /*attributes*/, QvFileHandle* handle) {
  if (!path || !*path || !handle || access != kQvFileRead) return kQvFailure;
  std::string native = CQvStringUtils::WtoUTF8(path).Str();
  int fd = OpenNative(native);
  if (fd < 0 && MayExistInAnotherCase(errno) && ResolveIgnoringCase(&native)) fd = OpenNative(native);
  CDescriptor descriptor(fd);
  if (fd < 0 || !IsRegularFile(fd)) return kQvFailure;
  TellOfCaseTwins(native);
  *handle = descriptor.Detach();
  return kQvOk;
}

std::int32_t QV_GetFileSize(QvFileHandle handle, std::int64_t* size) {
  struct stat status;
  if (!size || ::fstat(handle, &status) != 0) return kQvFailure;
  *size = status.st_size;
  return kQvOk;
}

std::int32_t QV_GetFileTimes(QvFileHandle handle, SQvFileTime* creation, SQvFileTime* lastAccess,
                             SQvFileTime* lastWrite) {
  SQvFindData data;
  if (!ReadStatus(handle, "", AT_EMPTY_PATH, &data)) return kQvFailure;
  if (creation) *creation = data.creationTime;
  if (lastAccess) *lastAccess = data.lastAccessTime;
  if (lastWrite) *lastWrite = data.lastWriteTime;
  return kQvOk;
}

std::int32_t QV_CloseFile(QvFileHandle handle) { return ::close(handle) == 0 ? kQvOk : kQvFailure; }

std::int32_t QV_FindFileFirst(const wchar_t* path, SQvFindData* data, QvFindHandle* find) {
  if (!path || !*path || !data || !find) return kQvFailure;
  std::string native = CQvStringUtils::WtoUTF8(path).Str();
  SQvFindData found;
  if (!ReadStatus(AT_FDCWD, native.c_str(), 0, &found)) {
    if (!MayExistInAnotherCase(errno) || !ResolveIgnoringCase(&native)) return kQvFailure;
    if (!ReadStatus(AT_FDCWD, native.c_str(), 0, &found)) return kQvFailure;
  }
  *data = found;
  *find = const_cast<char*>(&kOpenSearch);
  return kQvOk;
}

std::int32_t QV_FindFileClose(QvFindHandle find) { return find == &kOpenSearch ? kQvOk : kQvFailure; }

std::int32_t QV_ResolvePath(const wchar_t* path, CQvStringA* native) {
  if (!path || !*path || !native) return kQvFailure;
  std::string name = CQvStringUtils::WtoUTF8(path).Str();
  if (!Exists(name) && MayExistInAnotherCase(errno)) ResolveIgnoringCase(&name);
  *native = CQvStringA(std::move(name));
  return kQvOk;
}
