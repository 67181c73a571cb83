#pragma once

#include <cstdint>

#include "system/qvstring.h"

// What the file system knows of a file. Times are nanoseconds since 1970.
struct SFileState {
  std::int64_t size = 0;
  std::int64_t lastWrite = 0;   // any program may set it
  std::int64_t lastChange = 0;  // of the content, or of what else the file system knows of it; no program sets it
  std::uint64_t device = 0;
  std::uint64_t number = 0;  // of the file on its device

  bool operator==(const SFileState&) const = default;
};

// False, *state untouched, when there is no such file.
bool ReadFileState(const CQvStringW& path, SFileState* state);

// The time now, as a file system on this machine stamps it.
std::int64_t ReadFileClock() noexcept;
