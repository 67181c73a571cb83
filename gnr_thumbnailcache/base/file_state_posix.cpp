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

}  // namespace

bool ReadFileState(const CQvStringW& path, SFileState* state) {
  struct stat status;
  if (!FindStatus(path, &status)) return false;
  *state = {status.st_size, ToNanoseconds(status.st_mtim), ToNanoseconds(status.st_ctim), status.st_dev, status.st_ino};
  return true;
}

std::int64_t ReadFileClock() noexcept {
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return ToNanoseconds(now);
}
