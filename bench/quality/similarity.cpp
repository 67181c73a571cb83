#include "bench/quality/similarity.h"

#include <cmath>
#include <cstddef>

namespace {

constexpr int kWindow = 8, kApart = 4;
constexpr double kC1 = 0.01 * 255 * 0.01 * 255, kC2 = 0.03 * 255 * 0.03 * 255;

// Of the window at `first`, a sample's index.
double WindowSimilarity(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b, std::size_t first,
                        std::size_t rowSamples) {
  double sumA = 0, sumB = 0, squaresA = 0, squaresB = 0, products = 0;
  for (std::size_t y = 0; y < kWindow; ++y) {
    for (std::size_t x = 0; x < kWindow; ++x) {
      const double va = a[first + y * rowSamples + 3 * x], vb = b[first + y * rowSamples + 3 * x];
      sumA += va;
      sumB += vb;
      squaresA += va * va;
      squaresB += vb * vb;
      products += va * vb;
    }
  }
  constexpr double kCount = kWindow * kWindow;
  const double meanA = sumA / kCount, meanB = sumB / kCount;
  const double varianceA = squaresA / kCount - meanA * meanA, varianceB = squaresB / kCount - meanB * meanB;
  const double covariance = products / kCount - meanA * meanB;
  return (2 * meanA * meanB + kC1) * (2 * covariance + kC2) /
         ((meanA * meanA + meanB * meanB + kC1) * (varianceA + varianceB + kC2));
}

}  // namespace

double PeakSignalToNoise(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b) {
  double squares = 0;
  for (std::size_t i = 0; i < a.size(); ++i) squares += (a[i] - b[i]) * (a[i] - b[i]);
  return squares == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / squares);
}

double StructuralSimilarity(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b, int width, int height) {
  const std::size_t rowSamples = 3 * static_cast<std::size_t>(width);
  double sum = 0;
  int windows = 0;
  for (int y = 0; y + kWindow <= height; y += kApart) {
    for (int x = 0; x + kWindow <= width; x += kApart) {
      for (std::size_t c = 0; c < 3; ++c, ++windows) {
        const std::size_t first = static_cast<std::size_t>(y) * rowSamples + 3 * static_cast<std::size_t>(x) + c;
        sum += WindowSimilarity(a, b, first, rowSamples);
      }
    }
  }
  return windows == 0 ? 1.0 : sum / windows;
}
