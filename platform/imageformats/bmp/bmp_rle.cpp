#include <algorithm>

#include "platform/imageformats/base/buffered_input.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/bmp/bmp_rows.h"

namespace imageformats {

namespace {

// Run lengths of 4 or 8 bits. What they step over keeps the first colour of the palette.
class CBmpRleRows final : public CPixelRows {
 public:
  CBmpRleRows(const CInput& input, const SBmpHeader& header, const SStoredPixels& pixels, CRenderGuard& guard)
      : CPixelRows(pixels, guard),
        m_header(header),
        m_components(pixels.Components()),
        m_input(input, header.pixels),
        m_row(guard.NewVector<std::uint8_t>(header.size.width)) {}

 private:
  void DecodeRow(std::uint8_t* out) override {
    std::fill(m_row.begin(), m_row.end(), std::uint8_t{0});
    if (m_emptyRows != 0) {
      --m_emptyRows;
    } else {
      while (!m_ended && DecodeRun()) {
      }
    }
    for (const std::uint8_t index : m_row) out = m_header.colors.Put(index, m_components, out);
    ++m_y;
  }

  // False when the row is complete.
  bool DecodeRun() {
    const std::uint8_t count = Byte();
    if (count == 0) return DecodeEscape(Byte());
    const std::uint8_t value = Byte();
    for (std::uint32_t i = 0; i < count; ++i) Put(m_header.bits == 8 ? value : Nibble(value, i));
    return true;
  }

  bool DecodeEscape(std::uint8_t code) {
    switch (code) {
      case 0:
        m_x = 0;
        return false;
      case 1:
        m_ended = true;
        return false;
      case 2:
        return Move();
      default:
        DecodeLiterals(code);
        return true;
    }
  }

  bool Move() {
    m_x += Byte();
    const std::uint8_t rows = Byte();
    if (rows == 0) return true;
    m_emptyRows = rows - 1u;
    return false;
  }

  void DecodeLiterals(std::uint8_t count) {
    const std::uint32_t bytes = m_header.bits == 8 ? count : (count + 1u) / 2;
    std::uint8_t value = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
      if (m_header.bits == 8 || i % 2 == 0) value = Byte();
      Put(m_header.bits == 8 ? value : Nibble(value, i));
    }
    if (bytes % 2 != 0) Byte();
  }

  static std::uint8_t Nibble(std::uint8_t value, std::uint32_t i) noexcept {
    return i % 2 == 0 ? value >> 4 : value & 15;
  }

  void Put(std::uint8_t index) noexcept {
    if (m_x < m_row.size()) m_row[m_x] = index;
    ++m_x;
  }

  // Behind the last pixel an end is not missed.
  std::uint8_t Byte() {
    const int byte = m_input.Get();
    if (byte >= 0) return static_cast<std::uint8_t>(byte);
    const bool isComplete = m_y + 1 == m_header.size.height && m_x >= m_header.size.width;
    Require(isComplete, "The file is truncated: run lengths are missing");
    m_ended = true;
    return 0;
  }

  const SBmpHeader& m_header;
  std::uint32_t m_components;
  CBufferedInput m_input;
  std::vector<std::uint8_t> m_row;
  std::uint64_t m_x = 0;
  std::uint32_t m_y = 0;
  std::uint32_t m_emptyRows = 0;
  bool m_ended = false;
};

}  // namespace

std::unique_ptr<IPixelBands> OpenBmpRleRows(const CInput& input, const SBmpHeader& header, const SStoredPixels& pixels,
                                            CRenderGuard& guard) {
  return std::make_unique<CBmpRleRows>(input, header, pixels, guard);
}

}  // namespace imageformats
