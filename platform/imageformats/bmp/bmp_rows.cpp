#include "platform/imageformats/bmp/bmp_rows.h"

#include "platform/imageformats/base/buffered_input.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

class CPlainBmpRows final : public CPixelRows {
 public:
  CPlainBmpRows(const CInput& input, const SBmpHeader& header, const SStoredPixels& pixels, CRenderGuard& guard)
      : CPixelRows(pixels, guard),
        m_header(header),
        m_components(pixels.Components()),
        m_input(input, header.pixels),
        m_row(guard.NewVector<std::uint8_t>(header.UsedRowBytes())),
        m_isOpaque(header.HasAlpha() && !HasOpacity(input, header, guard)) {}

 private:
  // Many writers leave zeros where the header promises opacity.
  static bool HasOpacity(const CInput& input, const SBmpHeader& header, const CRenderGuard& guard) {
    CBufferedInput pixels(input, header.pixels);
    const std::size_t bytes = header.bits / 8;
    std::uint8_t pixel[4] = {};
    for (std::uint32_t y = 0; y < header.size.height; ++y) {
      guard.CheckTime();
      for (std::uint32_t x = 0; x < header.size.width; ++x) {
        pixels.Read(pixel, bytes);
        if (header.masks[3].Of(static_cast<std::uint32_t>(IntegerAt(pixel, bytes, false))) != 0) return true;
      }
      pixels.Skip(header.RowBytes() - header.UsedRowBytes());
    }
    return false;
  }

  void DecodeRow(std::uint8_t* out) override {
    Require(m_input.Read(m_row.data(), m_row.size()) == m_row.size(), "The file is truncated: rows are missing");
    m_input.Skip(m_header.RowBytes() - m_row.size());
    if (m_header.bits <= 8) {
      DecodeIndices(out);
    } else if (m_header.bits == 24) {
      DecodeBgr(out);
    } else {
      DecodeFields(out);
    }
  }

  void DecodeIndices(std::uint8_t* out) const noexcept {
    const std::uint32_t bits = m_header.bits, most = (1u << bits) - 1, perByte = 8 / bits;
    for (std::uint32_t x = 0; x < m_header.size.width; ++x) {
      const std::uint32_t shift = 8 - bits - x % perByte * bits;
      out = m_header.colors.Put(static_cast<std::uint8_t>(m_row[x / perByte] >> shift & most), m_components, out);
    }
  }

  void DecodeBgr(std::uint8_t* out) const noexcept {
    const std::uint8_t* in = m_row.data();
    for (std::uint32_t x = 0; x < m_header.size.width; ++x, in += 3, out += 3) {
      out[0] = in[2];
      out[1] = in[1];
      out[2] = in[0];
    }
  }

  void DecodeFields(std::uint8_t* out) const noexcept {
    const std::size_t bytes = m_header.bits / 8;
    const std::uint8_t* in = m_row.data();
    for (std::uint32_t x = 0; x < m_header.size.width; ++x, in += bytes) {
      const auto pixel = static_cast<std::uint32_t>(IntegerAt(in, bytes, false));
      for (std::uint32_t c = 0; c < m_components; ++c) *out++ = m_header.masks[c].Of(pixel);
      if (m_isOpaque) out[-1] = 255;
    }
  }

  const SBmpHeader& m_header;
  std::uint32_t m_components;
  CBufferedInput m_input;
  std::vector<std::uint8_t> m_row;
  bool m_isOpaque;
};

}  // namespace

SStoredPixels BmpPixels(const SBmpHeader& header) {
  SStoredPixels pixels;
  pixels.size = header.size;
  const bool isGrey = header.bits <= 8 && header.colors.IsGrey();
  pixels.model = isGrey ? EColorModel::kGrey : EColorModel::kRgb;
  pixels.hasAlpha = header.HasAlpha();
  pixels.orientation = header.topDown ? EOrientation::kTopLeft : EOrientation::kBottomLeft;
  pixels.profile = header.profile;
  return pixels;
}

std::unique_ptr<IPixelBands> OpenBmpRows(const CInput& input, const SBmpHeader& header, const SStoredPixels& pixels,
                                         CRenderGuard& guard) {
  if (header.coding != EBmpCoding::kPlain) return OpenBmpRleRows(input, header, pixels, guard);
  const std::uint64_t before = CRenderGuard::Multiply(header.RowBytes(), header.size.height - 1);
  const bool isWhole = header.pixels <= input.Size() && before <= input.Size() - header.pixels &&
                       header.UsedRowBytes() <= input.Size() - header.pixels - before;
  Require(isWhole, "The file is truncated: it is smaller than its picture");
  return std::make_unique<CPlainBmpRows>(input, header, pixels, guard);
}

}  // namespace imageformats
