#include "platform/imageformats/png/png_row_converter.h"

#include <algorithm>

namespace imageformats {

namespace {

std::uint32_t Sample(const std::uint8_t* p, std::uint8_t*) noexcept { return *p; }
std::uint32_t Sample(const std::uint8_t* p, std::uint16_t*) noexcept {
  return static_cast<std::uint32_t>(p[0] << 8 | p[1]);
}

}  // namespace

CPngRowConverter::CPngRowConverter(const SPngHeader& header) : m_header(header) {
  const bool isColor = (header.colorType & 2) != 0;
  m_components = (isColor ? 3u : 1u) + (header.HasAlpha() ? 1u : 0u);
  const auto& t = header.transparency;
  if (header.colorType != kPngPalette) {
    for (std::size_t k = 0; k < 3 && 2 * k + 1 < t.size(); ++k) {
      const std::uint32_t mask = (1u << header.bitDepth) - 1;
      m_transparent[k] = static_cast<std::uint32_t>(t[2 * k] << 8 | t[2 * k + 1]) & mask;
    }
    return;
  }
  m_palette.assign(std::size_t{256} * m_components, 0);  // an index behind the palette's end is black
  for (std::size_t i = 0; i < 256; ++i) {
    std::uint8_t* entry = m_palette.data() + i * m_components;
    if (3 * i + 2 < header.palette.size()) std::copy_n(header.palette.data() + 3 * i, 3, entry);
    if (m_components == 4) entry[3] = i < t.size() ? t[i] : 255;
  }
}

bool CPngRowConverter::IsIdentity() const noexcept {
  return m_header.bitDepth == 8 && m_header.colorType != kPngPalette && m_header.transparency.empty();
}

void CPngRowConverter::Convert(const std::uint8_t* stored, std::uint8_t* out) const noexcept {
  if (m_header.colorType == kPngPalette) {
    ConvertPalette(stored, out);
  } else if (m_header.bitDepth < 8) {
    ConvertSmall(stored, out);
  } else if (m_header.bitDepth == 8) {
    ConvertWhole(stored, out);
  } else {
    ConvertWhole(stored, reinterpret_cast<std::uint16_t*>(out));
  }
}

std::uint32_t CPngRowConverter::Stored(const std::uint8_t* row, std::uint32_t x) const noexcept {
  const std::uint32_t depth = m_header.bitDepth;
  const std::uint64_t bit = std::uint64_t{x} * depth;
  return (row[bit / 8] >> (8 - depth - bit % 8)) & ((1u << depth) - 1);
}

void CPngRowConverter::ConvertSmall(const std::uint8_t* stored, std::uint8_t* out) const noexcept {
  const std::uint32_t most = (1u << m_header.bitDepth) - 1;
  for (std::uint32_t x = 0; x < m_header.width; ++x) {
    const std::uint32_t value = Stored(stored, x);
    *out++ = static_cast<std::uint8_t>(value * 255 / most);
    if (m_components == 2) *out++ = value == m_transparent[0] ? 0 : 255;
  }
}

void CPngRowConverter::ConvertPalette(const std::uint8_t* stored, std::uint8_t* out) const noexcept {
  for (std::uint32_t x = 0; x < m_header.width; ++x, out += m_components) {
    const std::uint32_t index = m_header.bitDepth == 8 ? stored[x] : Stored(stored, x);
    std::copy_n(m_palette.data() + std::size_t{index} * m_components, m_components, out);
  }
}

template <class T>
void CPngRowConverter::ConvertWhole(const std::uint8_t* stored, T* out) const noexcept {
  const std::uint32_t channels = m_header.StoredChannels();
  if (m_components == channels) {
    for (std::size_t i = 0; i < std::size_t{m_header.width} * channels; ++i, stored += sizeof(T)) {
      *out++ = static_cast<T>(Sample(stored, static_cast<T*>(nullptr)));
    }
    return;
  }
  for (std::uint32_t x = 0; x < m_header.width; ++x) {
    bool transparent = true;
    for (std::uint32_t k = 0; k < channels; ++k, stored += sizeof(T)) {
      const std::uint32_t value = Sample(stored, static_cast<T*>(nullptr));
      transparent = transparent && value == m_transparent[k];
      *out++ = static_cast<T>(value);
    }
    *out++ = transparent ? T{0} : static_cast<T>(~T{0});
  }
}

}  // namespace imageformats
