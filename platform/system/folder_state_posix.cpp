#include "platform/system/folder_state.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <ctime>

#include "platform/system/posix_handles.h"
#include "system/qvstring.h"

namespace {

std::int64_t Nanoseconds(const timespec& time) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000u +
                                   static_cast<std::uint64_t>(time.tv_nsec));
}

CFolderHandle OpenFolder(const std::string& path) noexcept {
  CDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK));
  if (descriptor.Get() < 0) return nullptr;
  DIR* folder = ::fdopendir(descriptor.Get());
  if (folder) descriptor.Detach();
  return CFolderHandle(folder);
}

bool IsSelfOrParent(const char* name) noexcept { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }

}  // namespace

SFolderState StateOf(const struct stat& status) noexcept {
  return {status.st_dev, status.st_ino, Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim)};
}

std::int64_t WallClockNow() noexcept {
  timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

bool IsSettled(const SFolderState& state, std::int64_t now, std::chrono::nanoseconds sinceFirstSeen) noexcept {
  constexpr std::chrono::nanoseconds kCoarsestStep = std::chrono::seconds(2);
  if (sinceFirstSeen > kCoarsestStep) return true;
  const std::int64_t last = std::max(state.modified, state.changed);
  return last < now && now - last > kCoarsestStep.count();
}

std::wstring FoldName(std::string_view name) {
  std::wstring folded = std::move(CQvStringUtils::UTF8toW(name).Str());
  CQvStringUtils::ToLower(folded);
  return folded;
}

bool ForEachName(const std::string& folder, SFolderState* state, const std::function<bool(const char* name)>& each) {
  const CFolderHandle open = OpenFolder(folder);
  struct stat status;
  // The state before the names: a change between the two makes the next look-up read again.
  if (!open || ::fstat(::dirfd(open.get()), &status) != 0) return false;
  *state = StateOf(status);
  while (const dirent* entry = ::readdir(open.get())) {
    if (!IsSelfOrParent(entry->d_name) && !each(entry->d_name)) break;
  }
  return true;
}
