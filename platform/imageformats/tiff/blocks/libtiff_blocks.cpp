#include <algorithm>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/blocks/block_source.h"
#include "platform/imageformats/tiff/blocks/lzw.h"

namespace imageformats::tiff {
namespace {

// Larger strips are decoded row by row, where the codec can: pictures in one strip are common.
constexpr std::uint64_t kMaxStripBytes = 8u << 20;
constexpr std::uint64_t kLibtiffBandBytes = 256 << 10;

// Codecs that decode a strip only as a whole would decode it again for every row.
bool DecodesByRow(std::uint32_t compression) {
  return compression != COMPRESSION_LERC && compression != COMPRESSION_JBIG && compression != COMPRESSION_WEBP &&
         compression != COMPRESSION_OJPEG;
}

// Sets libtiff's pseudo tags so that codecs with a form of their own deliver the plain samples of the layout.
void AskForPlainSamples(TIFF* tiff, const SPage& page, const SDecodedLayout& layout) {
  if (page.compression == COMPRESSION_SGILOG || page.compression == COMPRESSION_SGILOG24) {
    TIFFSetField(tiff, TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_8BIT);
  }
  if (page.compression == COMPRESSION_PIXARLOG) {
    TIFFSetField(tiff, TIFFTAG_PIXARLOGDATAFMT,
                 layout.bits == 8    ? PIXARLOGDATAFMT_8BIT
                 : layout.bits == 16 ? PIXARLOGDATAFMT_16BIT
                                     : PIXARLOGDATAFMT_FLOAT);
  }
}

// What DecodeLzw is for; libtiff decodes the rest, and what DecodeLzw refuses.
bool IsPlainLzw(TIFF* tiff, const SPage& page) {
  return page.compression == COMPRESSION_LZW && !IsBitReversed(tiff) && page.bits == 8 &&
         (page.predictor == PREDICTOR_NONE || page.predictor == PREDICTOR_HORIZONTAL);
}

// Everything that libtiff decompresses: tile by tile, strip by strip, or row by row within large strips.
class CLibtiffBlocks final : public CBlockSource {
 public:
  CLibtiffBlocks(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard)
      : m_tiff(tiff), m_page(page), m_guard(guard) {
    m_layout = DecodedLayoutOf(page);
    AskForPlainSamples(tiff.Get(), page, m_layout);
    m_x = PlainAxis(page.width);
    m_y = PlainAxis(page.height);
    m_block = {page.blockWidth, page.blockHeight};
    const std::uint64_t rowBits = std::uint64_t{page.blockWidth} * page.RowSamples() * m_layout.bits;
    m_stride = static_cast<std::size_t>((rowBits + 7) / 8);
    const std::uint64_t blockBytes = CRenderGuard::Multiply(m_stride, m_block.height);
    CheckSizeAgreed(blockBytes);
    m_byRow = !page.tiled && !page.planar && blockBytes > kMaxStripBytes && DecodesByRow(page.compression);
    if (m_byRow) {
      m_block.height =
          static_cast<std::uint32_t>(std::clamp<std::uint64_t>(kLibtiffBandBytes / m_stride, 1, page.height));
    }
    m_isSequential = m_byRow;
    m_plainLzw = !m_byRow && IsPlainLzw(tiff.Get(), page);
    m_bytes = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(m_stride, m_block.height) + kLzwSlack);
  }

  std::uint8_t* ReadBlock(std::uint32_t column, std::uint32_t row, std::uint32_t plane) override {
    m_guard.CheckTime();
    m_tiff.ClearMessages();
    if (m_byRow) {
      DecodeRows(row * m_block.height);
    } else {
      DecodeBlock(m_page.BlockIndex(column, row, plane), row);
    }
    return m_bytes.data();
  }

 private:
  // The two computations of a block's size, libtiff's and this one, must agree before any buffer depends on it.
  void CheckSizeAgreed(std::uint64_t blockBytes) const {
    TIFF* tiff = m_tiff.Get();
    const std::uint64_t theirs = m_page.tiled ? TIFFTileSize64(tiff) : TIFFVStripSize64(tiff, m_page.blockHeight);
    if (theirs != blockBytes) throw CDamagedError("The layout of strips or tiles is contradictory");
  }

  // The compressed bytes are held, mostly by libtiff, while a block is decoded.
  SBlockExtent LocateAndReserve(std::uint32_t index, std::uint32_t rows) {
    const SBlockExtent bytes = LocateBlock(m_tiff, index);
    if (m_page.compression == COMPRESSION_NONE) RequireBytes(bytes.size, rows * std::uint64_t{m_stride});
    if (bytes.size > m_compressed) {
      m_guard.Reserve(bytes.size - m_compressed);
      m_compressed = bytes.size;
    }
    return bytes;
  }

  void DecodeBlock(std::uint32_t index, std::uint32_t row) {
    std::uint32_t rows = m_block.height;
    if (!m_page.tiled) rows = std::min(rows, m_page.height - row * m_block.height);
    const SBlockExtent place = LocateAndReserve(index, rows);
    const std::size_t size = rows * m_stride;
    if (m_plainLzw) {
      if (DecodePlainLzw(place, size)) return;
      // libtiff's copy stands beside this one.
      m_guard.Reserve(m_stream.capacity());
      m_plainLzw = false;
    }
    const auto wanted = static_cast<tmsize_t>(size);
    TIFF* tiff = m_tiff.Get();
    const tmsize_t got = m_page.tiled ? TIFFReadEncodedTile(tiff, index, m_bytes.data(), wanted)
                                      : TIFFReadEncodedStrip(tiff, index, m_bytes.data(), wanted);
    CheckDecoded(got == wanted);
  }

  bool DecodePlainLzw(const SBlockExtent& place, std::size_t size) {
    m_stream.resize(static_cast<std::size_t>(place.size));
    if (m_tiff.Source().ReadAt(place.offset, m_stream.data(), m_stream.size()) != m_stream.size()) return false;
    if (!DecodeLzw(m_stream, m_bytes.data(), size)) return false;
    if (m_page.predictor == PREDICTOR_HORIZONTAL) {
      for (std::size_t at = 0; at < size; at += m_stride) {
        UndoHorizontalPredictor(m_bytes.data() + at, m_stride, m_page.RowSamples());
      }
    }
    return true;
  }

  void DecodeRows(std::uint32_t y) {
    const std::uint32_t end = std::min(y + m_block.height, m_page.height);
    std::uint8_t* out = m_bytes.data();
    for (; y < end; ++y, out += m_stride) {
      if (y % m_page.blockHeight == 0) {
        m_guard.CheckTime();
        const std::uint32_t strip = y / m_page.blockHeight;
        LocateAndReserve(strip, m_page.UsedBlockHeight(strip));
      }
      CheckDecoded(TIFFReadScanline(m_tiff.Get(), out, y, 0) == 1);
    }
  }

  // Fax decoders fill the rest with white and only warn when the data ends early.
  void CheckDecoded(bool complete) const {
    const bool endsEarly = m_tiff.Warning().find("Premature EOF") != std::string::npos;
    if (complete && m_tiff.Error().empty() && !endsEarly) return;
    ThrowPixelError(m_tiff);
  }

  CTiffHandle& m_tiff;
  const SPage m_page;
  CRenderGuard& m_guard;
  bool m_byRow = false, m_plainLzw = false;
  std::uint64_t m_compressed = 0;
  std::vector<std::uint8_t> m_stream;
  std::vector<std::uint8_t> m_bytes;
};

}  // namespace

std::unique_ptr<CBlockSource> OpenLibtiffBlocks(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard) {
  return std::make_unique<CLibtiffBlocks>(tiff, page, guard);
}

}  // namespace imageformats::tiff
