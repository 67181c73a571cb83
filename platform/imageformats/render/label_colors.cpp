#include "platform/imageformats/render/label_colors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_set>
#include <utility>

#include "platform/imageformats/base/wide_vectors.h"
#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

namespace {

constexpr float kMostLabel = 65535.0f;
constexpr std::size_t kFewestLabels = 3;

// What a picture's pixels are to their right and lower neighbours, the background left out.
struct SNeighbours {
  std::size_t foreground = 0;   // pixels
  std::size_t inside = 0;       // of them: equal to both neighbours
  std::size_t steps = 0;        // pairs of different values
  std::size_t singleSteps = 0;  // of them: by one, as in a smooth picture
};

// Calls the function with each pixel and its right and lower neighbours.
template <class Function>
void VisitNeighbours(const SAveragedPicture& picture, Function&& function) {
  const SSize size = picture.size;
  for (std::uint32_t y = 0; y + 1 < size.height; ++y) {
    const float* row = picture.samples.data() + std::size_t{y} * size.width;
    for (std::uint32_t x = 0; x + 1 < size.width; ++x) function(row[x], row[x + 1], row[x + size.width]);
  }
}

// 1 where rounding cannot have made the difference; not the reverse. A number in single precision, for vector code.
std::uint32_t SurelyDiffer(float a, float b) noexcept {
  const float x = std::fabs(a), y = std::fabs(b);
  return std::fabs(a - b) > 4e-6f * (x > y ? x : y) ? 1 : 0;
}

// Whether so few pixels can equal both neighbours that the picture is none of labels.
bool IsSurelyUneven(const SAveragedPicture& picture) noexcept {
  const std::size_t width = picture.size.width;
  std::size_t foreground = 0, even = 0;
  for (std::size_t y = 0; y + 1 < picture.size.height; ++y) {
    const float* const row = picture.samples.data() + y * width;
    const auto [rowForeground, rowEven] = RunVectorLoop([row, width] {
      std::uint32_t foregroundSoFar = 0, evenSoFar = 0;
      for (std::size_t x = 0; x + 1 < width; ++x) {
        foregroundSoFar += row[x] != 0.0f;
        evenSoFar += 1 - (SurelyDiffer(row[x], row[x + 1]) | SurelyDiffer(row[x], row[x + width]));
      }
      return std::pair(foregroundSoFar, evenSoFar);
    });
    foreground += rowForeground;
    even += rowEven;
  }
  return even * 4 < foreground;
}

SNeighbours CountNeighbours(const SAveragedPicture& samples) {
  SNeighbours count;
  VisitNeighbours(samples, [&count](float value, float right, float below) {
    count.foreground += value != 0.0f;
    count.inside += value != 0.0f && value == right && value == below;
    count.steps += (value != right) + (value != below);
    count.singleSteps += (std::fabs(value - right) == 1.0f) + (std::fabs(value - below) == 1.0f);
  });
  return count;
}

// Hue, saturation 0..1 and value 0..1 to R G B.
std::array<std::uint8_t, 3> FromHsv(double hue, double saturation, double value) {
  const auto channel = [&](double n) {
    const double k = std::fmod(n + hue * 6.0, 6.0);
    const double v = value - value * saturation * std::max(0.0, std::min({k, 4.0 - k, 1.0}));
    return static_cast<std::uint8_t>(std::lround(255.0 * v));
  };
  return {channel(5.0), channel(3.0), channel(1.0)};
}

// Hues by the golden ratio, which keeps those of any run of numbers apart.
std::array<std::uint8_t, 3> LabelColor(std::int64_t label) {
  if (label == 0) return {0, 0, 0};
  constexpr double kGolden = 0.6180339887498949;
  const double hue = std::fmod(static_cast<double>(label < 0 ? -label : label) * kGolden, 1.0);
  const double saturation = label % 3 == 0 ? 0.55 : 0.85;
  const double value = label % 2 == 0 ? 1.0 : 0.8;
  return FromHsv(hue, saturation, value);
}

}  // namespace

bool MayBeLabels(const SAveragedPicture& averages) {
  if (averages.components != 1 || averages.size.width < 16 || averages.size.height < 16) return false;
  if (IsSurelyUneven(averages)) return false;
  std::unordered_set<std::uint32_t> labels;
  float most = 0.0f;
  std::size_t foreground = 0, inside = 0;
  VisitNeighbours(averages, [&](float value, float right, float below) {
    foreground += value != 0.0f;
    if (Differ(value, right) || Differ(value, below)) return;
    const float whole = std::round(value);
    if (!(whole >= 1.0f && whole <= kMostLabel) || Differ(value, whole)) return;
    ++inside;
    labels.insert(static_cast<std::uint32_t>(whole));
    most = std::max(most, whole);
  });
  return labels.size() >= kFewestLabels && static_cast<float>(labels.size()) * 4.0f >= most && inside * 4 >= foreground;
}

bool AreLabels(const SAveragedPicture& samples) {
  if (!MayBeLabels(samples)) return false;  // of components and size, too
  std::unordered_set<std::uint32_t> labels;
  float most = 0.0f;
  std::size_t background = 0;
  for (const float value : samples.samples) {
    if (!(value >= 0.0f && value <= kMostLabel) || value != std::floor(value)) return false;
    if (value == 0.0f) {
      ++background;
    } else {
      labels.insert(static_cast<std::uint32_t>(value));
      most = std::max(most, value);
    }
  }
  const SNeighbours count = CountNeighbours(samples);
  return background > 0 && labels.size() >= kFewestLabels && static_cast<float>(labels.size()) * 2.0f >= most &&
         count.inside * 2 >= count.foreground && count.singleSteps * 2 <= count.steps;
}

std::vector<std::uint8_t> ColorLabels(const SAveragedPicture& samples) {
  std::vector<std::uint8_t> rgb;
  rgb.reserve(samples.samples.size() * 3);
  for (const float value : samples.samples) {
    const bool isNumber = std::isfinite(value) && std::fabs(value) < 1e15f;
    const auto color = LabelColor(isNumber ? std::llround(value) : 0);
    rgb.insert(rgb.end(), color.begin(), color.end());
  }
  return rgb;
}

}  // namespace imageformats
