#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

// What the finite samples of a floating-point picture span.
class CSampleExtremes {
 public:
  // Samples of kF32 or kF64.
  void Include(ESampleType type, const void* samples, std::size_t count) noexcept;
  // From the least to the greatest; of length 1 when they are the same.
  SDisplayRange Range() const noexcept;

 private:
  template <class T>
  void IncludeAll(const T* samples, std::size_t count) noexcept;

  SDisplayRange m_range{0.0, 0.0};
  bool m_any = false;
};

// Brings samples to the 8 or 16 bits of a picture in memory: signed ones begin at 0, of wide integers the highest bits
// are kept, floating-point ones are spread over a range.
class CPictureSamples {
 public:
  // `bits` that an integer sample really has; `range` is for floating point.
  CPictureSamples(ESampleType type, std::uint32_t bits, const SDisplayRange& range) noexcept;

  static std::uint32_t BitsFor(ESampleType type) noexcept { return SampleBytes(type) == 1 ? 8 : 16; }

  // `samples` itself where nothing changes, else valid until the next call.
  const void* Convert(const void* samples, std::size_t count);

 private:
  template <class From, class To, class Function>
  const void* Map(const void* samples, std::size_t count, Function&& function);
  std::uint16_t Scaled(double value) const noexcept;

  ESampleType m_type;
  std::uint32_t m_shift;
  SDisplayRange m_range;
  std::vector<std::uint8_t> m_row;
};

}  // namespace imageformats
