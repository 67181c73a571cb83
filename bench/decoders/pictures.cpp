#include "bench/decoders/pictures.h"

#include <algorithm>
#include <cmath>

#include "bench/corpus/content.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/random.h"
#include "tools/samples/tissue.h"

namespace {

constexpr int kPiece = 2048;
constexpr float kSmoothing = 2;                 // deviation of the blur that takes the camera's noise away, in pixels
constexpr float kCameraNoise = 3, kNoise = 24;  // deviations in grey levels
constexpr float kCountsPerLevel = 16;           // of 12-bit counts
constexpr int kMostCounts = 4095;

SStack CellField() {
  SFieldOptions options;
  options.width = options.height = kPiece;
  return MakeField(EFluorescence::kCells, options, 1);
}

void Smooth(std::vector<std::uint16_t>* counts) {
  SPlane plane(kPiece, kPiece);
  std::copy(counts->begin(), counts->end(), plane.values.begin());
  Blur(&plane, kSmoothing);
  std::transform(plane.values.begin(), plane.values.end(), counts->begin(),
                 [](float value) { return static_cast<std::uint16_t>(std::lround(value)); });
}

template <class Sample>
void AddNoise(std::vector<Sample>* samples, float deviation, int most) {
  CRandom random(1, "noise");
  for (Sample& sample : *samples) {
    const long value = std::lround(static_cast<float>(sample) + deviation * random.Normal());
    sample = static_cast<Sample>(std::clamp<long>(value, 0, most));
  }
}

SStack SmoothField() {
  SStack field = CellField();
  for (auto& plane : field.planes) Smooth(&plane);
  return field;
}

SRgbImage Noisy(SRgbImage image, float deviation) {
  AddNoise(&image.pixels, deviation, 255);
  return image;
}

const SRgbImage& Piece(EContent content) {
  static const SRgbImage kQuiet = Composite(SmoothField());
  static const SRgbImage kNatural = Noisy(RenderTissue(kPiece, kPiece, 1), kCameraNoise);
  static const SRgbImage kNoisy = Noisy(kQuiet, kNoise);
  return content == EContent::kQuiet ? kQuiet : content == EContent::kNatural ? kNatural : kNoisy;
}

// Bytes of a sample in the first two components, so that counts can be mirrored like pictures.
SRgbImage CountsAsPixels(const std::vector<std::uint16_t>& counts) {
  SRgbImage image(kPiece, kPiece);
  for (std::size_t i = 0; i < counts.size(); ++i) {
    image.pixels[3 * i] = static_cast<std::uint8_t>(counts[i] >> 8);
    image.pixels[3 * i + 1] = static_cast<std::uint8_t>(counts[i]);
  }
  return image;
}

}  // namespace

SRgbImage MakePicture(EContent content, int width, int height) { return MakeMosaic(Piece(content), width, height); }

std::vector<std::uint8_t> GreyOf(const SRgbImage& image) {
  std::vector<std::uint8_t> grey(image.pixels.size() / 3);
  for (std::size_t i = 0; i < grey.size(); ++i) grey[i] = image.pixels[3 * i + 1];
  return grey;
}

std::vector<std::uint8_t> RgbaOf(const SRgbImage& image) {
  std::vector<std::uint8_t> rgba;
  rgba.reserve(image.pixels.size() / 3 * 4);
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const std::uint8_t* pixel = image.Pixel(x, y);
      rgba.insert(rgba.end(), pixel, pixel + 3);
      const int toBorder = std::min({x, y, image.width - 1 - x, image.height - 1 - y});
      rgba.push_back(static_cast<std::uint8_t>(std::min(255, 16 * toBorder)));
    }
  }
  return rgba;
}

std::vector<std::uint8_t> MakeCounts(EContent content, int width, int height) {
  std::vector<std::uint16_t> counts = CellField().planes.front();
  if (content != EContent::kNatural) Smooth(&counts);
  if (content == EContent::kNoisy) AddNoise(&counts, kNoise * kCountsPerLevel, kMostCounts);
  const SRgbImage mosaic = MakeMosaic(CountsAsPixels(counts), width, height);
  std::vector<std::uint8_t> bytes;
  bytes.reserve(mosaic.pixels.size() / 3 * 2);
  for (std::size_t i = 0; i < mosaic.pixels.size(); i += 3) {
    bytes.push_back(mosaic.pixels[i]);
    bytes.push_back(mosaic.pixels[i + 1]);
  }
  return bytes;
}
