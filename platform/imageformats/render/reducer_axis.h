#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/render/area_reducer.h"

namespace imageformats {

// How one source pixel is shared out along an axis: `weight` of it to result pixel `result`, `nextWeight` of it to the
// one behind. A pixel never reaches further, because a result has no more pixels than its source.
struct SPixelShare {
  std::uint32_t result = 0;
  float weight = 1.0f;
  float nextWeight = 0.0f;
  bool completes = false;  // it is the last pixel that `result` gets something of
};

// The source pixels of one result pixel within a range: begin .. end - 1 from the range's start, the first and the last
// counted by their weights (a lone pixel by firstWeight), those between in full.
struct SPixelSpan {
  std::uint32_t result = 0;
  std::uint32_t begin = 0;
  std::uint32_t end = 0;
  float firstWeight = 1.0f;
  float lastWeight = 1.0f;
};

// Exact proportions between a source axis and its result, in integers.
class CReducerAxis {
 public:
  // Throws CDamagedError when the result is empty, larger than the source, or the numbers overflow.
  CReducerAxis(const SSourceAxis& source, std::uint32_t result);

  const SSourceAxis& Source() const noexcept { return m_source; }
  std::uint32_t Pixels() const noexcept { return m_source.pixels; }
  std::uint32_t Result() const noexcept { return m_result; }
  // Source pixels per result pixel.
  double Ratio() const noexcept;

  SPixelShare ShareOf(std::uint32_t pixel) const noexcept;
  // How many pixels from `pixel` on belong to one result pixel in full without completing it.
  std::uint32_t InnerPixelsFrom(std::uint32_t pixel) const noexcept;
  // What every result pixel gets of the pixels first .. first + count - 1.
  std::vector<SPixelSpan> SpansOf(std::uint32_t first, std::uint32_t count) const;

 private:
  SSourceAxis m_source;
  std::uint32_t m_result;
  std::uint64_t m_step;  // one source pixel, on a grid where a result pixel is `extent` long
};

}  // namespace imageformats
