#include <sys/stat.h>

#include <ctime>

#include "gnr_thumbnailcache/base/file_state.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

std::int64_t ToNanoseconds(const timespec& time) noexcept {
  constexpr std::int64_t kSecond = 1'000'000'000;
  return time.tv_sec * kSecond + time.tv_nsec;
}

// Most paths are written as the file is called.
bool FindStatus(const CQvStringW& path, struct stat* status) {
  if (::stat(CQvStringUtils::WtoUTF8(path).c_str(), status) == 0) return true;
  CQvStringA native;
  return QV_ResolvePath(path.c_str(), &native) == kQvOk && ::stat(native.c_str(), status) == 0;
}

// A picture that is a folder is what the file layer says of it: the folder itself does not change with its files.
bool ReadFolderState(const CQvStringW& path, const struct stat& status, SFileState* state) {
  constexpr std::uint64_t kUnixEpoch = 116'444'736'000'000'000;  // in ticks of 100 ns since 1601
  SQvFindData data;
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(path.c_str(), &data, &find) != kQvOk) return false;
  QV_FindFileClose(find);
  const auto lastWrite = static_cast<std::int64_t>(data.lastWriteTime.Ticks() - kUnixEpoch) * 100;
  *state = {data.size, lastWrite, lastWrite, status.st_dev, status.st_ino};
  return true;
}

}  // namespace

bool ReadFileState(const CQvStringW& path, SFileState* state) {
  struct stat status;
  if (!FindStatus(path, &status)) return false;
  if (S_ISDIR(status.st_mode)) return ReadFolderState(path, status, state);
  *state = {status.st_size, ToNanoseconds(status.st_mtim), ToNanoseconds(status.st_ctim), status.st_dev, status.st_ino};
  return true;
}

std::int64_t ReadFileClock() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return ToNanoseconds(now);
}
