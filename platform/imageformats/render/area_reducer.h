#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

enum class ESampleType { kU8, kU16, kU32, kU64, kI8, kI16, kI32, kI64, kF32, kF64 };
std::size_t SampleBytes(ESampleType type) noexcept;

// A small picture of averages: rows top to bottom, components interleaved, values on the scale of the source samples.
// NaN where a floating-point source had no finite sample.
struct SAveragedPicture {
  SSize size;
  std::uint32_t components = 0;
  std::vector<float> samples;
};

// One axis of a source. `pixels` samples lie on it, each `pitch` units wide, over an extent of `extent` units; the last
// may stick out. A decoder that scales by M/8 delivers ceil(n * M / 8) samples for n: {ceil(n*M/8), 8, n*M} keeps the
// average exact. Plain sources: PlainAxis(n).
struct SSourceAxis {
  std::uint32_t pixels = 0;
  std::uint64_t pitch = 1;
  std::uint64_t extent = 0;
};
constexpr SSourceAxis PlainAxis(std::uint32_t pixels) noexcept { return {pixels, 1, pixels}; }
// Whole samples that the axis covers: the most that a result may have.
constexpr std::uint32_t MaxResultPixels(const SSourceAxis& axis) noexcept {
  const std::uint64_t whole = axis.extent / axis.pitch;
  return whole == 0 ? 1 : static_cast<std::uint32_t>(whole);
}

// The size a codec reduces a stored picture to: the request turned back into stored orientation, along each axis not
// more than the source has. DisplayAverages and OrientAndFitRgb enlarge what remains.
SSize ReducedSize(const SSourceAxis& x, const SSourceAxis& y, SSize displayedRequest, EOrientation o) noexcept;
SSize ReducedSize(SSize stored, SSize displayedRequest, EOrientation o) noexcept;

// Exact area average, streamed: every result pixel is the mean of the source area it covers, pixels on a border counted
// by their share. Bands may come in any order and size (rows, strips, tiles) as long as each source pixel comes once;
// consecutive bands of the same columns are the fast case: they are summed downwards in small integers and only each
// finished result row is summed across. Memory: the result in doubles and some rows.
class CAreaReducer {
 public:
  // `result` must lie within MaxResultPixels of the axes and both be non-zero; CDamagedError otherwise, and when memory
  // is over the guard's limit.
  CAreaReducer(const SSourceAxis& x, const SSourceAxis& y, SSize result, std::uint32_t components, ESampleType type,
               CRenderGuard& guard);
  CAreaReducer(SSize source, SSize result, std::uint32_t components, ESampleType type, CRenderGuard& guard);
  CAreaReducer(CAreaReducer&&) noexcept;
  CAreaReducer& operator=(CAreaReducer&&) noexcept;
  ~CAreaReducer();

  // Adds the rectangle at (x, y); what sticks out of the source (edge tiles) is ignored. `data` points to its first
  // sample, aligned for the type; rows lie `stride` bytes apart.
  void AddBand(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const void* data,
               std::size_t stride);

  // Whether every source pixel has been added, as far as their number tells.
  bool IsComplete() const noexcept;
  // The averages; where nothing was added, 0. The reducer is spent.
  SAveragedPicture Finish();

  class CKernel;

 private:
  std::unique_ptr<CKernel> m_kernel;
};

}  // namespace imageformats
