#include "host/commands/prune_choice.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <string_view>
#include <utility>

#include "host/commands/command.h"
#include "host/output/time_text.h"

namespace qvhost {
namespace {

constexpr double kMostPruneBytes = 9e18;

// A number at the text's beginning, and what follows it without blanks.
std::optional<std::pair<double, std::string>> NumberAndUnit(const std::string& text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !std::isfinite(number) || number < 0) return std::nullopt;
  std::string unit(end, text.data() + text.size());
  unit.erase(0, unit.find_first_not_of(' ') == unit.npos ? unit.size() : unit.find_first_not_of(' '));
  return std::pair(number, unit);
}

}  // namespace

double SPruneChoice::OldestKept() const {
  if (olderThan.empty()) return 0;
  const auto days = NumberAndUnit(olderThan);
  if (days && days->second == "d") return JulianDayNow() - days->first;
  return ParseTime(olderThan, "--older-than");
}

std::optional<std::int64_t> SPruneChoice::MostBytes() const {
  if (maxSize.empty()) return std::nullopt;
  constexpr std::pair<std::string_view, double> kUnits[] = {{"", 1},     {"B", 1},    {"kB", 1e3}, {"KB", 1e3},
                                                            {"MB", 1e6}, {"GB", 1e9}, {"TB", 1e12}};
  if (const auto size = NumberAndUnit(maxSize)) {
    for (const auto& [name, factor] : kUnits) {
      if (size->second == name && size->first * factor < kMostPruneBytes) {
        return static_cast<std::int64_t>(size->first * factor);
      }
    }
  }
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
