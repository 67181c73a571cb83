#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/folder_listing.h"
#include "platform/system/path_resolver.h"
#include "platform/system/picture_folder.h"
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

constexpr std::uint64_t kOpenBelowFlags = O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY;

// -1 with ENOSYS or EPERM where the kernel, or what confines this process, does not have the call.
int OpenBeneath(int folder, const char* name) noexcept {
  open_how how{};
  how.flags = kOpenBelowFlags;
  how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
  return static_cast<int>(::syscall(SYS_openat2, folder, name, &how, sizeof how));
}

// Follows no link at all.
int OpenStepByStep(int folder, std::string_view name) {
  CDescriptor at(-1);
  for (;;) {
    const std::size_t slash = name.find('/');
    const std::string step(name.substr(0, slash));
    const int from = at.Get() < 0 ? folder : at.Get();
    if (slash == std::string_view::npos) {
      return ::openat(from, step.c_str(), static_cast<int>(kOpenBelowFlags) | O_NOFOLLOW);
    }
    at.Reset(::openat(from, step.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (at.Get() < 0) return -1;
    name.remove_prefix(slash + 1);
  }
}

bool IsNameBelow(std::string_view name) noexcept {
  for (;;) {
    const std::size_t slash = name.find('/');
    const std::string_view step = name.substr(0, slash);
    if (step.empty() || step == "." || step == "..") return false;
    if (slash == std::string_view::npos) return true;
    name.remove_prefix(slash + 1);
  }
}

// Of a picture that is a folder, and is named by a file in it: the folder.
bool ReplaceByFolder(std::string* path) {
  const CDescriptor folder(OpenNative(FolderOfDocument(*path)));
  if (folder.Get() < 0 || !IsPictureFolder(folder.Get())) return false;
  *path = FolderOfDocument(*path);
  return true;
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

// What a folder that is a picture says instead of what the file system does.
void ReplaceByPictureFolder(int folder, SQvFindData* data) noexcept {
  SPictureFolderState state;
  if (!ReadPictureFolder(folder, &state)) return;
  data->lastWriteTime = ToFileTime({state.newest.tv_sec, static_cast<std::uint32_t>(state.newest.tv_nsec), 0});
  data->size = state.size;
}

bool ReadStatusOfPath(const std::string& path, SQvFindData* data) {
  if (!ReadStatus(AT_FDCWD, path.c_str(), 0, data)) return false;
  if (data->isFolder == 0) return true;
  const CDescriptor folder(OpenNative(path));
  if (folder.Get() >= 0) ReplaceByPictureFolder(folder.Get(), data);
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
  if (fd >= 0 && IsDocumentName(native) && ReplaceByFolder(&native)) {
    ::close(fd);
    fd = OpenNative(native);
  }
  CDescriptor descriptor(fd);
  if (fd < 0 || !(IsRegularFile(fd) || IsPictureFolder(fd))) return kQvFailure;
  TellOfCaseTwins(native);
  *handle = descriptor.Detach();
  return kQvOk;
}

std::int32_t QV_OpenFileBelow(QvFileHandle folder, const char* name, QvFileHandle* file) {
  if (!name || !file || !IsNameBelow(name)) return kQvFailure;
  int fd = OpenBeneath(folder, name);
  if (fd < 0 && (errno == ENOSYS || errno == EPERM)) fd = OpenStepByStep(folder, name);
  CDescriptor descriptor(fd);
  if (fd < 0 || !IsRegularFile(fd)) return kQvFailure;
  *file = descriptor.Detach();
  return kQvOk;
}

bool QV_IsFolder(QvFileHandle handle) noexcept {
  struct stat status;
  return ::fstat(handle, &status) == 0 && S_ISDIR(status.st_mode);
}

std::int32_t QV_GetFileSize(QvFileHandle handle, std::int64_t* size) {
  struct stat status;
  if (!size || ::fstat(handle, &status) != 0) return kQvFailure;
  SPictureFolderState folder;
  *size = S_ISDIR(status.st_mode) && ReadPictureFolder(handle, &folder) ? folder.size : status.st_size;
  return kQvOk;
}

std::int32_t QV_GetFileTimes(QvFileHandle handle, SQvFileTime* creation, SQvFileTime* lastAccess,
                             SQvFileTime* lastWrite) {
  SQvFindData data;
  if (!ReadStatus(handle, "", AT_EMPTY_PATH, &data)) return kQvFailure;
  if (data.isFolder != 0) ReplaceByPictureFolder(handle, &data);
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
  if (IsDocumentName(native)) ReplaceByFolder(&native);
  if (!ReadStatusOfPath(native, &found)) {
    if (!MayExistInAnotherCase(errno) || !ResolveIgnoringCase(&native)) return kQvFailure;
    if (IsDocumentName(native)) ReplaceByFolder(&native);
    if (!ReadStatusOfPath(native, &found)) return kQvFailure;
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
