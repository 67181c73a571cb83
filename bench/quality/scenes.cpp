#include "bench/quality/scenes.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "bench/corpus/content.h"
#include "tools/samples/canvas.h"
#include "tools/samples/photographs.h"
#include "tools/samples/tissue.h"

namespace {

constexpr int kPiece = 2048;

SRgbImage Tissue(int width, int height) {
  static const SRgbImage kTissue = RenderTissue(kPiece, kPiece, 1);
  return MakeMosaic(kTissue, width, height);
}

SRgbImage Mountains(int width, int height) {
  static const SRgbImage kMountains = RenderMountains(kPiece, kPiece, 3);
  return MakeMosaic(kMountains, width, height);
}

// A page whose lines are a hundredth of its height.
SRgbImage Page(int width, int height) {
  CCanvas canvas(width, height, {0.96f, 0.96f, 0.94f}, 1);
  const int scale = std::max(1, height / 900), step = 12 * scale;
  const std::string line = "THE QUICK BROWN FOX (JUMPS) OVER 13 LAZY DOGS, 0.325 UM/PX = 64%. ";
  std::string text;
  while (static_cast<int>(text.size()) * 6 * scale < width) text += line;
  for (int y = step, row = 0; y + step < height; y += step, ++row) {
    canvas.Text(4 * scale, y, text.substr(static_cast<std::size_t>(row) * 7 % line.size()), scale, {0.1f, 0.1f, 0.12f});
  }
  return canvas.Colors();
}

// Rings that become finer outwards, up to one in eight pixels.
SRgbImage ZonePlate(int width, int height) {
  SRgbImage image(width, height);
  const double scale = std::numbers::pi / (8.0 * width);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double dx = x - width / 2.0, dy = y - height / 2.0;
      const auto value = static_cast<float>(0.5 + 0.45 * std::cos((dx * dx + dy * dy) * scale * 2));
      image.Set(x, y, {value, value, value});
    }
  }
  return image;
}

}  // namespace

std::vector<SScene> Scenes() {
  return {{"tissue", Tissue}, {"mountains", Mountains}, {"page", Page}, {"zone plate", ZonePlate}};
}
