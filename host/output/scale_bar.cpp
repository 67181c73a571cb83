#include "host/output/scale_bar.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <string_view>
#include <utility>

#include "host/output/drawing.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

struct SUnit {
  std::string_view name;
  double micrometres;
  double from;  // the least length that is given in it, in micrometres
};
constexpr SUnit kLengthUnits[] = {
    {"m", 1e6, 1e6}, {"mm", 1e3, 1e3}, {"\u00B5m", 1.0, 1.0}, {"nm", 1e-3, 1e-4}, {"pm", 1e-6, 0.0}};
// Other ways to write a micrometre: on a plain keyboard, and with the Greek letter.
constexpr std::pair<std::string_view, double> kSpellings[] = {{"um", 1.0}, {"\u03BCm", 1.0}};

// Nothing that an image shows is smaller than a picometre or larger than a kilometre.
constexpr double kLeastWidth = 1e-6, kMostWidth = 1e9;
constexpr double kMostShare = 1.0 / 3.0;

// Sizes by the picture's height; thumbnails are some 180 pixels high.
constexpr double kTextShare = 1.0 / 15.0;
constexpr double kLeastText = 7.0;

struct SBarLayout {
  double text;  // height of the capitals
  std::int64_t thickness, margin, edge, gap;

  explicit SBarLayout(std::uint32_t height)
      : text(std::max(std::round(height * kTextShare), kLeastText)),
        thickness(std::max(std::lround(text / 3.0), 2L)),
        margin(std::max(std::lround(text * 0.7), 3L)),
        edge(std::max(std::lround(text / 10.0), 1L)),
        gap(std::max(std::lround(text * 0.75), 5L)) {}
  std::int64_t Height() const { return margin + thickness + gap + std::lround(text) + margin; }
};

std::string_view TrimmedFront(std::string_view text) {
  const std::size_t start = text.find_first_not_of(' ');
  return start == text.npos ? std::string_view() : text.substr(start);
}

double UnitOf(std::string_view name) {
  for (const SUnit& unit : kLengthUnits) {
    if (unit.name == name) return unit.micrometres;
  }
  for (const auto& [spelling, micrometres] : kSpellings) {
    if (spelling == name) return micrometres;
  }
  return 0.0;
}

}  // namespace

std::optional<SScaleBar> MakeScaleBar(double micrometres, double pictureMicrometres) {
  const bool known = pictureMicrometres >= kLeastWidth && pictureMicrometres <= kMostWidth;
  if (!known || !(micrometres > 0.0) || micrometres > pictureMicrometres) return std::nullopt;
  return SScaleBar{micrometres, micrometres / pictureMicrometres, FormatLength(micrometres)};
}

std::optional<SScaleBar> ChooseScaleBar(double pictureMicrometres) {
  if (!(pictureMicrometres >= kLeastWidth && pictureMicrometres <= kMostWidth)) return std::nullopt;
  const double most = pictureMicrometres * kMostShare;
  // The sums of powers of ten are not exact: 0.3 of them is not to fall below 0.3.
  const double power = std::pow(10.0, std::floor(std::log10(most * (1.0 + 1e-9))));
  double length = power;
  for (const double step : {2.0, 5.0}) {
    if (step * power <= most * (1.0 + 1e-9)) length = step * power;
  }
  return MakeScaleBar(length, pictureMicrometres);
}

std::optional<double> ParseLength(const std::string& text) {
  const std::string_view trimmed = TrimmedFront(text);
  double number = 0.0;
  const char* end = trimmed.data() + trimmed.size();
  const auto [stop, error] = std::from_chars(trimmed.data(), end, number);
  if (error != std::errc()) return std::nullopt;
  const double length = number * UnitOf(TrimmedFront({stop, static_cast<std::size_t>(end - stop)}));
  return length > 0.0 && std::isfinite(length) ? std::optional(length) : std::nullopt;
}

std::string FormatLength(double micrometres) {
  // A length that was computed may lie a hair below its unit.
  const SUnit* unit =
      std::find_if(std::begin(kLengthUnits), std::end(kLengthUnits),
                   [micrometres](const SUnit& candidate) { return micrometres * (1.0 + 1e-9) >= candidate.from; });
  std::string text = FormatNumber(micrometres / unit->micrometres);
  text += ' ';
  return text += unit->name;
}

bool DrawScaleBar(const SScaleBar& bar, SQvPicBuf& picture) {
  const SBarLayout layout(picture.height);
  const double label = TextWidth(bar.label, layout.text);
  const std::int64_t length = std::max(std::lround(bar.share * picture.width), 1L);
  const std::int64_t wanted = std::max(length, std::lround(std::ceil(label))) + 2 * layout.margin;
  if (wanted > picture.width || layout.Height() > picture.height) return false;
  const std::int64_t width = wanted - 2 * layout.margin;
  const std::int64_t left = picture.width - layout.margin - width;
  const SDrawBox line = {left + (width - length) / 2, picture.height - layout.margin - layout.thickness, length,
                         layout.thickness};
  FillBox(picture,
          {line.x - layout.edge, line.y - layout.edge, line.width + 2 * layout.edge, line.height + 2 * layout.edge},
          kBlackInk);
  FillBox(picture, line, kWhiteInk);
  const SDrawPoint corner{static_cast<double>(left) + (static_cast<double>(width) - label) / 2.0,
                          static_cast<double>(line.y - layout.gap) - layout.text};
  DrawText(picture, corner, bar.label, {layout.text, kWhiteInk, true});
  return true;
}

}  // namespace qvhost
