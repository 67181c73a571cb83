#include "tests/support/test_picture.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>
#include <random>

namespace qvtest {
namespace {

double Overlap(double a, double b, double c, double d) { return std::max(0.0, std::min(b, d) - std::max(a, c)); }

}  // namespace

STestPicture BlackPicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits) {
  return {width, height, components, bits, std::vector<std::uint16_t>(std::size_t{width} * height * components)};
}

STestPicture SmoothPicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits) {
  STestPicture picture = BlackPicture(width, height, components, bits);
  const double most = std::exp2(bits) - 1;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const double u = (x + 0.5) / width, v = (y + 0.5) / height;
      const bool inDisc = (u - 0.3) * (u - 0.3) + (v - 0.6) * (v - 0.6) < 0.02;
      for (std::uint32_t c = 0; c < components; ++c) {
        const double wave = std::sin(2 * std::numbers::pi * ((c + 1) * u + (3 - c) * v));
        const double value = inDisc ? 0.9 : 0.45 + 0.3 * wave;
        picture.At(x, y, c) = static_cast<std::uint16_t>(std::lround(value * most));
      }
    }
  }
  return picture;
}

STestPicture NoisePicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits,
                          unsigned seed) {
  STestPicture picture = BlackPicture(width, height, components, bits);
  std::mt19937 random(seed);
  for (std::uint16_t& sample : picture.samples) sample = static_cast<std::uint16_t>(random() & ((1u << bits) - 1));
  return picture;
}

STestPicture AreaAverage(const STestPicture& source, std::uint32_t width, std::uint32_t height) {
  STestPicture result = BlackPicture(width, height, source.components, source.bits);
  const double stepX = static_cast<double>(source.width) / width, stepY = static_cast<double>(source.height) / height;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      for (std::uint32_t c = 0; c < source.components; ++c) {
        double sum = 0.0;
        for (auto j = static_cast<std::uint32_t>(y * stepY); j < source.height && j < (y + 1) * stepY; ++j) {
          const double high = Overlap(j, j + 1.0, y * stepY, (y + 1) * stepY);
          for (auto i = static_cast<std::uint32_t>(x * stepX); i < source.width && i < (x + 1) * stepX; ++i) {
            sum += high * Overlap(i, i + 1.0, x * stepX, (x + 1) * stepX) * source.At(i, j, c);
          }
        }
        result.At(x, y, c) = static_cast<std::uint16_t>(std::lround(sum / (stepX * stepY)));
      }
    }
  }
  return result;
}

double Psnr(const STestPicture& a, const STestPicture& b) {
  if (a.samples.size() != b.samples.size()) return 0.0;
  double sum = 0.0;
  for (std::size_t i = 0; i < a.samples.size(); ++i) {
    const double difference = static_cast<double>(a.samples[i]) - b.samples[i];
    sum += difference * difference;
  }
  return 10.0 * std::log10(255.0 * 255.0 / (sum / static_cast<double>(a.samples.size()) + 1e-9));
}

int LargestDifference(const STestPicture& a, const STestPicture& b) {
  if (a.samples.size() != b.samples.size()) return 65536;
  int largest = 0;
  for (std::size_t i = 0; i < a.samples.size(); ++i) {
    largest = std::max(largest, std::abs(static_cast<int>(a.samples[i]) - b.samples[i]));
  }
  return largest;
}

}  // namespace qvtest
