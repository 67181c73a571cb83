#include "tools/samples/rgb_image.h"

namespace {

// The mean of the pixels from (x0, y0) up to, not including, (x1, y1).
void Average(const SRgbImage& image, int x0, int y0, int x1, int y1, std::uint8_t* result) {
  unsigned sums[3] = {0, 0, 0};
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) {
      const std::uint8_t* pixel = image.Pixel(x, y);
      for (int c = 0; c < 3; ++c) sums[c] += pixel[c];
    }
  }
  const auto count = static_cast<unsigned>((x1 - x0) * (y1 - y0));
  for (int c = 0; c < 3; ++c) result[c] = static_cast<std::uint8_t>((sums[c] + count / 2) / count);
}

}  // namespace

SRgbImage Halve(const SRgbImage& image) {
  SRgbImage half(std::max(1, image.width / 2), std::max(1, image.height / 2));
  for (int y = 0; y < half.height; ++y) {
    for (int x = 0; x < half.width; ++x) {
      Average(image, 2 * x, 2 * y, std::min(2 * x + 2, image.width), std::min(2 * y + 2, image.height),
              half.Pixel(x, y));
    }
  }
  return half;
}

SRgbImage FitInto(const SRgbImage& image, int width, int height) {
  const double scale = std::min({1.0, double(width) / image.width, double(height) / image.height});
  SRgbImage small(std::max(1, static_cast<int>(image.width * scale)),
                  std::max(1, static_cast<int>(image.height * scale)));
  for (int y = 0; y < small.height; ++y) {
    const int y0 = y * image.height / small.height, y1 = (y + 1) * image.height / small.height;
    for (int x = 0; x < small.width; ++x) {
      Average(image, x * image.width / small.width, y0, (x + 1) * image.width / small.width, y1, small.Pixel(x, y));
    }
  }
  return small;
}

SRgbImage TurnLeft(const SRgbImage& image) {
  SRgbImage turned(image.height, image.width);
  for (int y = 0; y < turned.height; ++y) {
    for (int x = 0; x < turned.width; ++x) std::copy_n(image.Pixel(image.width - 1 - y, x), 3, turned.Pixel(x, y));
  }
  return turned;
}

void DrawFrame(SRgbImage* image, int thickness, SColor color) {
  for (int y = 0; y < image->height; ++y) {
    for (int x = 0; x < image->width; ++x) {
      const int margin = std::min({x, y, image->width - 1 - x, image->height - 1 - y});
      if (margin < thickness) image->Set(x, y, color);
    }
  }
}
