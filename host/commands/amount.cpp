#include "host/commands/amount.h"

#include <charconv>
#include <cmath>
#include <string_view>

namespace qvhost {
namespace {

constexpr double kMostBytes = 9e18;

}  // namespace

std::optional<std::pair<double, std::string>> NumberAndUnit(const std::string& text) {
  double number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || !std::isfinite(number) || number < 0) return std::nullopt;
  std::string unit(end, text.data() + text.size());
  unit.erase(0, unit.find_first_not_of(' ') == unit.npos ? unit.size() : unit.find_first_not_of(' '));
  return std::pair(number, unit);
}

std::optional<double> ParseByteCount(const std::string& text) {
  constexpr std::pair<std::string_view, double> kUnits[] = {{"", 1},     {"B", 1},    {"kB", 1e3}, {"KB", 1e3},
                                                            {"MB", 1e6}, {"GB", 1e9}, {"TB", 1e12}};
  const auto size = NumberAndUnit(text);
  if (!size) return std::nullopt;
  for (const auto& [name, factor] : kUnits) {
    if (size->second == name && size->first * factor < kMostBytes) return size->first * factor;
  }
  return std::nullopt;
}

}  // namespace qvhost
