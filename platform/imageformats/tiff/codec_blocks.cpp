#include <algorithm>
#include <vector>

#include "platform/imageformats/common/format_error.h"
#include "platform/imageformats/tiff/block_source.h"

namespace imageformats::tiff {
namespace {

// Larger strips are decoded row by row, where the codec can: pictures in one strip are common.
constexpr std::uint64_t kMaxStripBytes = 8u << 20;
constexpr std::uint64_t kPieceBytes = 256 << 10;

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

// Everything that libtiff decompresses: tile by tile, strip by strip, or row by row within large strips.
class CodecBlocks final : public BlockSource {
 public:
  CodecBlocks(TiffHandle& tiff, const SPage& page, RenderGuard& guard) : m_tiff(tiff), m_page(page), m_guard(guard) {
    m_layout = DecodedLayoutOf(page);
    AskForPlainSamples(tiff.Get(), page, m_layout);
    m_x = SourceAxis(page.width);
    m_y = SourceAxis(page.height);
    m_block = {page.blockWidth, page.blockHeight};
    const std::uint64_t rowBits = std::uint64_t{page.blockWidth} * page.RowSamples() * m_layout.bits;
    m_stride = static_cast<std::size_t>((rowBits + 7) / 8);
    const std::uint64_t blockBytes = RenderGuard::Multiply(m_stride, m_block.height);
    CheckSizeAgreed(blockBytes);
    m_byRow = !page.tiled && !page.planar && blockBytes > kMaxStripBytes && DecodesByRow(page.compression);
    if (m_byRow) {
      m_block.height = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(kPieceBytes / m_stride, 1, page.height));
    }
    m_bytes = guard.NewVector<std::uint8_t>(RenderGuard::Multiply(m_stride, m_block.height));
  }

  std::uint8_t* Fetch(std::uint32_t column, std::uint32_t row, std::uint32_t plane) override {
    m_guard.CheckTime();
    m_tiff.ClearMessages();
    if (m_byRow) {
      FetchRows(row * m_block.height);
    } else {
      const std::uint32_t blocks = m_page.BlocksAcross() * m_page.BlocksDown();
      FetchBlock(plane * blocks + row * m_page.BlocksAcross() + column, row);
    }
    return m_bytes.data();
  }

 private:
  // The two computations of a block's size, libtiff's and this one, must agree before any buffer depends on it.
  void CheckSizeAgreed(std::uint64_t blockBytes) const {
    TIFF* tiff = m_tiff.Get();
    const std::uint64_t theirs = m_page.tiled ? TIFFTileSize64(tiff) : TIFFVStripSize64(tiff, m_page.blockHeight);
    if (theirs != blockBytes) throw DamagedError("The layout of strips or tiles is contradictory");
  }

  // The compressed bytes are held by libtiff while a block is decoded.
  void TakeCompressed(std::uint32_t index) {
    const SBlockBytes bytes = LocateBlock(m_tiff, index);
    if (bytes.size <= m_compressed) return;
    m_guard.Take(bytes.size - m_compressed);
    m_compressed = bytes.size;
  }

  void FetchBlock(std::uint32_t index, std::uint32_t row) {
    TakeCompressed(index);
    std::size_t size = m_bytes.size();
    if (!m_page.tiled) size = std::min(m_block.height, m_page.height - row * m_block.height) * m_stride;
    const auto wanted = static_cast<tmsize_t>(size);
    TIFF* tiff = m_tiff.Get();
    const tmsize_t got = m_page.tiled ? TIFFReadEncodedTile(tiff, index, m_bytes.data(), wanted)
                                      : TIFFReadEncodedStrip(tiff, index, m_bytes.data(), wanted);
    CheckDecoded(got == wanted);
  }

  void FetchRows(std::uint32_t y) {
    const std::uint32_t end = std::min(y + m_block.height, m_page.height);
    std::uint8_t* out = m_bytes.data();
    for (; y < end; ++y, out += m_stride) {
      if (y % m_page.blockHeight == 0) TakeCompressed(y / m_page.blockHeight);
      CheckDecoded(TIFFReadScanline(m_tiff.Get(), out, y, 0) == 1);
    }
  }

  // Fax decoders fill the rest with white and only warn when the data ends early.
  void CheckDecoded(bool complete) const {
    const bool endsEarly = m_tiff.Warning().find("Premature EOF") != std::string::npos;
    if (complete && m_tiff.Error().empty() && !endsEarly) return;
    const std::string& reason = m_tiff.Error().empty() ? m_tiff.Warning() : m_tiff.Error();
    throw DamagedError("The pixels are damaged" + (reason.empty() ? std::string() : ": " + reason));
  }

  TiffHandle& m_tiff;
  const SPage m_page;
  RenderGuard& m_guard;
  bool m_byRow = false;
  std::uint64_t m_compressed = 0;
  std::vector<std::uint8_t> m_bytes;
};

}  // namespace

std::unique_ptr<BlockSource> OpenCodecBlocks(TiffHandle& tiff, const SPage& page, RenderGuard& guard) {
  return std::make_unique<CodecBlocks>(tiff, page, guard);
}

}  // namespace imageformats::tiff
