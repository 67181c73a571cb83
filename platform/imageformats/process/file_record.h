#pragma once

#include <cstdint>
#include <optional>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// A file as it was when it was opened. The path's place is taken by its hash: a list of such records tells nobody what
// the user looks at, and all are of one size.
struct SFileRecord {
  std::uint64_t path = 0;
  std::uint64_t size = 0;
  std::int64_t seconds = 0, nanoseconds = 0;  // of the last write
  friend bool operator==(const SFileRecord&, const SFileRecord&) = default;
};

// Nothing for content that is no file, or a file that lies nowhere. Throws std::bad_alloc and file-system errors.
std::optional<SFileRecord> RecordOf(const CInput& input);

}  // namespace imageformats
