#include "platform/imageformats/base/units.h"

#include <algorithm>
#include <iterator>

#include "platform/imageformats/base/text.h"

namespace imageformats {
namespace {

struct SUnit {
  std::string_view name;
  double factor;
};

// Symbols whose case matters.
constexpr SUnit kLengthSymbols[] = {
    {"Tm", 1e18},
    {"Gm", 1e15},
    {"Mm", 1e12},
    {"km", 1e9},
    {"hm", 1e8},
    {"dam", 1e7},
    {"m", 1e6},
    {"dm", 1e5},
    {"cm", 1e4},
    {"mm", 1e3},
    {"\xC2\xB5m", 1.0},
    {"\xCE\xBCm", 1.0},
    {"\xB5m", 1.0},
    {"um", 1.0},
    {"nm", 1e-3},
    {"pm", 1e-6},
    {"fm", 1e-9},
    {"\xC3\x85", 1e-4},
    {"\xE2\x84\xAB", 1e-4},
    {"A", 1e-4},
    {"\xC2\xB5", 1.0},
    {"\xCE\xBC", 1.0},
};

constexpr SUnit kLengthWords[] = {
    {"micron", 1.0},        {"microns", 1.0},    {"micrometer", 1.0},    {"micrometers", 1.0}, {"micrometre", 1.0},
    {"micrometres", 1.0},   {"nanometer", 1e-3}, {"nanometers", 1e-3},   {"nanometre", 1e-3},  {"nanometres", 1e-3},
    {"picometer", 1e-6},    {"picometre", 1e-6}, {"angstrom", 1e-4},     {"angstroms", 1e-4},  {"millimeter", 1e3},
    {"millimeters", 1e3},   {"millimetre", 1e3}, {"centimeter", 1e4},    {"centimeters", 1e4}, {"centimetre", 1e4},
    {"meter", 1e6},         {"metre", 1e6},      {"in", 25400.0},        {"inch", 25400.0},    {"inches", 25400.0},
    {"\"", 25400.0},        {"thou", 25.4},      {"li", 25400.0 / 12.0}, {"ft", 304800.0},     {"yd", 914400.0},
    {"pt", 25400.0 / 72.0},
};

constexpr SUnit kTimeWords[] = {
    {"s", 1.0},       {"sec", 1.0},          {"second", 1.0},        {"seconds", 1.0},    {"ms", 1e-3},
    {"msec", 1e-3},   {"millisecond", 1e-3}, {"milliseconds", 1e-3}, {"\xC2\xB5s", 1e-6}, {"\xCE\xBCs", 1e-6},
    {"us", 1e-6},     {"ns", 1e-9},          {"min", 60.0},          {"minute", 60.0},    {"minutes", 60.0},
    {"h", 3600.0},    {"hr", 3600.0},        {"hour", 3600.0},       {"hours", 3600.0},   {"d", 86400.0},
    {"day", 86400.0}, {"days", 86400.0},
};

template <std::size_t N>
std::optional<double> Find(const SUnit (&table)[N], std::string_view name) {
  const auto* hit = std::find_if(std::begin(table), std::end(table), [&](const SUnit& u) { return u.name == name; });
  if (hit == std::end(table)) return std::nullopt;
  return hit->factor;
}

}  // namespace

std::optional<double> MicrometresPer(std::string_view unit) {
  unit = Trimmed(unit);
  if (const auto exact = Find(kLengthSymbols, unit)) return exact;
  return Find(kLengthWords, LowerAscii(unit));
}

double PlausibleLength(double micrometres) noexcept {
  constexpr double kLeast = 1e-6, kMost = 1e6;
  return micrometres >= kLeast && micrometres <= kMost ? micrometres : 0.0;
}

std::optional<double> SecondsPer(std::string_view unit) { return Find(kTimeWords, LowerAscii(Trimmed(unit))); }

}  // namespace imageformats
