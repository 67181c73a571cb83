#include <algorithm>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {
namespace {

// Rows are read in bands of about this size: large enough for the disk, small enough to be still in the processor's
// cache when they are summed.
constexpr std::size_t kBandBytes = 256 << 10;

// Samples lie in the file's byte order; packed bits do not depend on it. The loops are kept plain for the vectoriser.
void SwapSamples(std::uint8_t* bytes, std::size_t size, std::uint32_t bits) {
  switch (bits) {
    case 16:
      return TIFFSwabArrayOfShort(reinterpret_cast<std::uint16_t*>(bytes), static_cast<tmsize_t>(size / 2));
    case 24:
      return TIFFSwabArrayOfTriples(bytes, static_cast<tmsize_t>(size / 3));
    case 32:
      return TIFFSwabArrayOfLong(reinterpret_cast<std::uint32_t*>(bytes), static_cast<tmsize_t>(size / 4));
    case 64:
      return TIFFSwabArrayOfLong8(reinterpret_cast<std::uint64_t*>(bytes), static_cast<tmsize_t>(size / 8));
    default:
      return;
  }
}

// Uncompressed data. Strips are handed out in bands of some rows, however the file cuts them; tiles as they are.
class CRawBlocks final : public CBlockSource {
 public:
  CRawBlocks(CTiffHandle& tiff, const SPage& page, std::uint64_t dataOffset, CRenderGuard& guard)
      : m_tiff(tiff), m_page(page), m_dataOffset(dataOffset), m_guard(guard) {
    m_layout = DecodedLayoutOf(page);
    m_x = PlainAxis(page.width);
    m_y = PlainAxis(page.height);
    const std::uint64_t rowBits = std::uint64_t{page.blockWidth} * page.RowSamples() * page.bits;
    const std::uint64_t rowBytes = (rowBits + 7) / 8;
    CheckFileHolds(rowBytes);
    m_block = {page.blockWidth, page.blockHeight};
    if (!page.tiled) {
      m_block.height = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(kBandBytes / rowBytes, 1, page.height));
    }
    m_stride = static_cast<std::size_t>(rowBytes);
    m_bytes = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(rowBytes, m_block.height));
  }

  std::uint8_t* ReadBlock(std::uint32_t column, std::uint32_t row, std::uint32_t plane) override {
    m_guard.CheckTime();
    if (m_page.tiled) {
      ReadBlockBytes(m_tiff, OffsetOf(m_page.BlockIndex(column, row, plane), m_block.height), m_bytes.data(),
                     m_bytes.size());
    } else {
      ReadRows(m_page.BlockIndex(0, 0, plane), row * m_block.height);
    }
    if (m_tiff.IsSwapped()) SwapSamples(m_bytes.data(), m_bytes.size(), m_page.bits);
    return m_bytes.data();
  }

 private:
  // Uncompressed pictures cannot be larger than their file: nothing is allocated or read for one that claims to be.
  void CheckFileHolds(std::uint64_t rowBytes) const {
    const std::uint64_t rows = m_page.tiled ? std::uint64_t{m_page.BlocksDown()} * m_page.blockHeight : m_page.height;
    std::uint64_t size = CRenderGuard::Multiply(rowBytes, rows);
    if (m_page.tiled) size = CRenderGuard::Multiply(size, m_page.BlocksAcross());
    if (m_page.planar) size = CRenderGuard::Multiply(size, m_page.samples);
    if (size > m_tiff.Source().Size()) throw CDamagedError("The file is truncated: it is smaller than its picture");
  }

  // Strips that lie one behind the other are read together.
  void ReadRows(std::uint32_t firstStrip, std::uint32_t y) {
    const std::uint32_t end = std::min(y + m_block.height, m_page.height);
    std::uint8_t* out = m_bytes.data();
    std::uint64_t from = 0;
    std::size_t size = 0;
    while (y < end) {
      const std::uint32_t inStrip = y % m_page.blockHeight;
      const std::uint32_t rows = std::min(m_page.blockHeight - inStrip, end - y);
      const std::uint32_t strip = y / m_page.blockHeight;
      const std::uint64_t at =
          OffsetOf(firstStrip + strip, m_page.UsedBlockHeight(strip)) + std::uint64_t{inStrip} * m_stride;
      if (size != 0 && at != from + size) {
        ReadBlockBytes(m_tiff, from, out, size);
        out += size;
        size = 0;
      }
      if (size == 0) from = at;
      size += rows * m_stride;
      y += rows;
    }
    ReadBlockBytes(m_tiff, from, out, size);
  }

  // Of a strip or tile that holds so many rows.
  std::uint64_t OffsetOf(std::uint32_t index, std::uint32_t rows) const {
    int failed = 0, failedToo = 0;
    const std::uint64_t offset = TIFFGetStrileOffsetWithErr(m_tiff.Get(), index, &failed);
    const std::uint64_t count = TIFFGetStrileByteCountWithErr(m_tiff.Get(), index, &failedToo);
    if (failed || failedToo) throw CDamagedError("The table of strips or tiles is damaged");
    if (offset == 0) throw CDamagedError("A strip or tile was never written");
    RequireBytes(count, rows * std::uint64_t{m_stride});
    return offset + m_dataOffset;
  }

  CTiffHandle& m_tiff;
  const SPage m_page;
  const std::uint64_t m_dataOffset;
  CRenderGuard& m_guard;
  std::vector<std::uint8_t> m_bytes;
};

}  // namespace

std::unique_ptr<CBlockSource> OpenRawBlocks(CTiffHandle& tiff, const SPage& page, std::uint64_t dataOffset,
                                            CRenderGuard& guard) {
  return std::make_unique<CRawBlocks>(tiff, page, dataOffset, guard);
}

}  // namespace imageformats::tiff
