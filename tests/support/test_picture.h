#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace qvtest {

// A picture in memory, rows packed.
struct STestPicture {
  std::uint32_t width = 0, height = 0, components = 0;
  std::uint32_t bits = 8;
  std::vector<std::uint16_t> samples;

  std::uint16_t& At(std::uint32_t x, std::uint32_t y, std::uint32_t c = 0) {
    return samples[(std::size_t{y} * width + x) * components + c];
  }
  std::uint16_t At(std::uint32_t x, std::uint32_t y, std::uint32_t c = 0) const {
    return samples[(std::size_t{y} * width + x) * components + c];
  }
  friend bool operator==(const STestPicture&, const STestPicture&) = default;
};

// All samples are zero.
STestPicture BlackPicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits = 8);
// Smooth colour waves with a bright disc: something in every direction and at every scale that survives compression.
STestPicture SmoothPicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits = 8);
// Deterministic noise of all values.
STestPicture NoisePicture(std::uint32_t width, std::uint32_t height, std::uint32_t components, std::uint32_t bits,
                          unsigned seed);

// The area average, by definition: for every result pixel the sum over all source pixels of overlap times value.
STestPicture AreaAverage(const STestPicture& source, std::uint32_t width, std::uint32_t height);
// Against a peak of 255.
double Psnr(const STestPicture& a, const STestPicture& b);
int LargestDifference(const STestPicture& a, const STestPicture& b);

}  // namespace qvtest
