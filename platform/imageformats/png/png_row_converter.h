#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/imageformats/png/png_header.h"

namespace imageformats {

// Turns stored rows into samples of 8 or 16 bits in memory order: palettes looked up, small depths widened to the full
// 0..255, transparent colours turned into an opacity component (last, after grey or R G B).
class CPngRowConverter {
 public:
  explicit CPngRowConverter(const SPngHeader& header);

  std::uint32_t Components() const noexcept { return m_components; }
  std::uint32_t SampleBytes() const noexcept { return m_header.bitDepth == 16 ? 2 : 1; }
  std::size_t RowBytes() const noexcept { return std::size_t{m_header.width} * m_components * SampleBytes(); }
  bool HasAlpha() const noexcept { return m_header.HasAlpha(); }
  // Whether stored rows are samples already.
  bool IsIdentity() const noexcept;

  // `out` has RowBytes() bytes, aligned for the samples.
  void Convert(const std::uint8_t* stored, std::uint8_t* out) const noexcept;

 private:
  void ConvertSmall(const std::uint8_t* stored, std::uint8_t* out) const noexcept;
  void ConvertPalette(const std::uint8_t* stored, std::uint8_t* out) const noexcept;
  template <class T>
  void ConvertWhole(const std::uint8_t* stored, T* out) const noexcept;
  std::uint32_t Stored(const std::uint8_t* row, std::uint32_t x) const noexcept;

  const SPngHeader& m_header;
  std::uint32_t m_components;
  std::vector<std::uint8_t> m_palette;  // m_components bytes for each possible index
  std::uint32_t m_transparent[3] = {};  // tRNS of grey and RGB
};

}  // namespace imageformats
