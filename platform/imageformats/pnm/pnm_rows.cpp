#include "platform/imageformats/pnm/pnm_rows.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

// Samples of up to 8 bits come on the scale of 0 to 255, others as they are.
class CPnmRows : public CPixelRows {
 public:
  CPnmRows(const CInput& input, const SPnmHeader& header, const SStoredPixels& pixels, CRenderGuard& guard)
      : CPixelRows(pixels, guard), m_header(header), m_input(input, header.pixels) {}

 protected:
  std::size_t RowSamples() const noexcept { return std::size_t{m_header.size.width} * m_header.depth; }

  void Put(std::uint32_t value, std::size_t i, std::uint8_t* row) const noexcept {
    value = std::min(value, m_header.most);
    if (m_header.most > 255) {
      reinterpret_cast<std::uint16_t*>(row)[i] = static_cast<std::uint16_t>(value);
    } else {
      row[i] = static_cast<std::uint8_t>((value * 255 + m_header.most / 2) / m_header.most);
    }
  }

  const SPnmHeader& m_header;
  CBufferedInput m_input;
};

class CRawPnmRows final : public CPnmRows {
 public:
  CRawPnmRows(const CInput& input, const SPnmHeader& header, const SStoredPixels& pixels, CRenderGuard& guard)
      : CPnmRows(input, header, pixels, guard), m_row(guard.NewVector<std::uint8_t>(header.RowBytes())) {}

 private:
  void DecodeRow(std::uint8_t* out) override {
    Require(m_input.Read(m_row.data(), m_row.size()) == m_row.size(), "The file is truncated: rows are missing");
    const std::size_t samples = RowSamples();
    if (m_header.isBitmap) {
      for (std::size_t i = 0; i < samples; ++i) out[i] = (m_row[i / 8] << i % 8 & 0x80) != 0 ? 0 : 255;
    } else if (m_header.most == 255) {
      std::copy(m_row.begin(), m_row.end(), out);
    } else if (m_header.most < 255) {
      for (std::size_t i = 0; i < samples; ++i) Put(m_row[i], i, out);
    } else {
      for (std::size_t i = 0; i < samples; ++i) Put(m_row[2 * i] * 256u + m_row[2 * i + 1], i, out);
    }
  }

  std::vector<std::uint8_t> m_row;
};

class CPlainPnmRows final : public CPnmRows {
 public:
  using CPnmRows::CPnmRows;

 private:
  void DecodeRow(std::uint8_t* out) override {
    const std::size_t samples = RowSamples();
    for (std::size_t i = 0; i < samples; ++i) {
      if (m_header.isBitmap) {
        out[i] = NextBit() ? 0 : 255;
      } else {
        Put(NextPnmNumber(m_input, nullptr), i, out);
      }
    }
  }

  // Bits need no blanks between them.
  bool NextBit() {
    for (bool isComment = false;;) {
      const int c = m_input.Get();
      Require(c >= 0, "The file is truncated: bits are missing");
      if (!isComment && (c == '0' || c == '1')) return c == '1';
      isComment = isComment ? c != '\n' && c != '\r' : c == '#';
    }
  }
};

// A file cannot hold more samples than it has room for.
void CheckPnmSize(const CInput& input, const SPnmHeader& header) {
  const std::uint64_t samples =
      CRenderGuard::Multiply(std::uint64_t{header.size.width} * header.depth, header.size.height);
  std::uint64_t least = CRenderGuard::Multiply(header.RowBytes(), header.size.height);
  if (header.isPlain) least = header.isBitmap ? samples : CRenderGuard::Multiply(samples, 2) - 1;
  Require(least <= input.Size() - std::min(input.Size(), header.pixels),
          "The file is truncated: it is smaller than its picture");
}

}  // namespace

SStoredPixels PnmPixels(const SPnmHeader& header) {
  SStoredPixels pixels;
  pixels.size = header.size;
  pixels.model = header.depth < 3 ? EColorModel::kGrey : EColorModel::kRgb;
  pixels.hasAlpha = header.depth % 2 == 0;
  pixels.white = std::max(header.most, 255u);
  return pixels;
}

std::unique_ptr<IPixelBands> OpenPnmRows(const CInput& input, const SPnmHeader& header, const SStoredPixels& pixels,
                                         CRenderGuard& guard) {
  CheckPnmSize(input, header);
  if (header.isPlain) return std::make_unique<CPlainPnmRows>(input, header, pixels, guard);
  return std::make_unique<CRawPnmRows>(input, header, pixels, guard);
}

}  // namespace imageformats
