#pragma once

#include <sys/stat.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

// Which state of which folder a listing shows.
struct SFolderState {
  dev_t device = 0;
  ino_t inode = 0;
  // The later of the last changes of content and of status (the former can be set back), as the file system tells.
  std::int64_t modified = 0, changed = 0;

  friend bool operator==(const SFolderState&, const SFolderState&) = default;
};

// A file system's clock ticks in steps of up to 2 s (FAT), so a folder may change right after it was listed and keep
// its times. A listing is settled when it was taken so long after the folder's last change that any later change shows.
// `now` is the wall clock in nanoseconds; `sinceFirstSeen` tells for how long the folder has had these times, and
// serves where the wall clock and the file system's disagree.
bool IsSettled(const SFolderState& state, std::int64_t now, std::chrono::nanoseconds sinceFirstSeen) noexcept;

// The form of a name under which names that differ only in case meet.
std::wstring FoldName(std::string_view name);

SFolderState StateOf(const struct stat& status) noexcept;
// The wall clock in nanoseconds.
std::int64_t WallClockNow() noexcept;

// Calls `each` with every name in the folder, but for itself and its parent, until it returns false. *state receives
// the folder's state from before the reading. False when the folder cannot be listed.
bool ForEachName(const std::string& folder, SFolderState* state, const std::function<bool(const char* name)>& each);
