#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/commands/command_line.h"

namespace qvhost {

// Which thumbnails are to go although their files are there, as the user said it.
struct SPruneChoice {
  std::string olderThan;  // a time, or days as "90d"
  std::string maxSize;    // "500MB"

  bool IsMade() const noexcept { return !olderThan.empty() || !maxSize.empty(); }
  // A Julian day number; nothing was said: 0. Throws CHostError for what is no time.
  double OldestKept() const;
  // Throws CHostError for what is no size.
  std::optional<std::int64_t> MostBytes() const;
};

void AddPruneChoice(CCommand command, SPruneChoice* choice);

}  // namespace qvhost
