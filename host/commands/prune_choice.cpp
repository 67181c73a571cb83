#include "host/commands/prune_choice.h"

#include <fmt/format.h>

#include "host/commands/amount.h"
#include "host/commands/command.h"
#include "host/output/time_text.h"

namespace qvhost {

double SPruneChoice::OldestKept() const {
  if (olderThan.empty()) return 0;
  const auto days = NumberAndUnit(olderThan);
  if (days && days->second == "d") return JulianDayNow() - days->first;
  return ParseTime(olderThan, "--older-than");
}

std::optional<std::int64_t> SPruneChoice::MostBytes() const {
  if (maxSize.empty()) return std::nullopt;
  if (const auto bytes = ParseByteCount(maxSize)) return static_cast<std::int64_t>(*bytes);
  throw CHostError(fmt::format("--max-size '{}' is no size; write it like 500MB or 2GB", Printable(maxSize)));
}

void AddPruneChoice(CCommand command, SPruneChoice* choice) {
  command
      .AddOption("--older-than", &choice->olderThan,
                 "Instead, the thumbnails of images last written before this time, or so many days ago, e.g. 90d")
      .NotEmpty("names no time")
      .Type("TIME|DAYSd");
  command
      .AddOption("--max-size", &choice->maxSize,
                 "Instead, the thumbnails that were made longest ago, until the others take no more, e.g. 500MB")
      .NotEmpty("names no size")
      .Type("SIZE");
}

}  // namespace qvhost
