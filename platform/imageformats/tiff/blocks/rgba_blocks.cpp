#include <algorithm>
#include <cstring>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {
namespace {

// YCbCr that is not plain JPEG: libtiff's own conversion, which knows the subsampling layouts, coefficients and old
// JPEG streams. Delivers R G B.
class CRgbaBlocks final : public CBlockSource {
 public:
  CRgbaBlocks(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard) : m_tiff(tiff), m_page(page), m_guard(guard) {
    char reason[1024] = "";
    if (!TIFFRGBAImageOK(tiff.Get(), reason)) throw CUnsupportedError(reason);
    // libtiff would turn every strip by itself; the whole picture is turned at the end.
    TIFFSetField(tiff.Get(), TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    m_isSequential = page.compression == COMPRESSION_OJPEG;  // libtiff decodes them one out of the other
    m_layout = DecodedLayoutOf(page);
    m_x = PlainAxis(page.width);
    m_y = PlainAxis(page.height);
    m_block = {page.blockWidth, page.blockHeight};
    m_stride = std::size_t{page.blockWidth} * 4;
    m_raster = guard.NewVector<std::uint32_t>(CRenderGuard::Multiply(page.blockWidth, page.blockHeight));
    // libtiff decodes into a buffer of its own and reads the compressed bytes into another.
    guard.Reserve(CRenderGuard::Multiply(m_stride, page.blockHeight));
  }

  ~CRgbaBlocks() override {
    TIFFSetField(m_tiff.Get(), TIFFTAG_ORIENTATION, static_cast<std::uint32_t>(m_page.orientation));
  }
  CRgbaBlocks(const CRgbaBlocks&) = delete;
  CRgbaBlocks& operator=(const CRgbaBlocks&) = delete;

  std::uint8_t* ReadBlock(std::uint32_t column, std::uint32_t row, std::uint32_t) override {
    m_guard.CheckTime();
    const std::uint32_t index = row * m_page.BlocksAcross() + column;
    // Old JPEG keeps its stream elsewhere.
    if (m_page.compression != COMPRESSION_OJPEG) CheckExtent(index, row);
    m_tiff.ClearMessages();
    const std::uint32_t x = column * m_block.width, y = row * m_block.height;
    TIFF* tiff = m_tiff.Get();
    const int done = m_page.tiled ? TIFFReadRGBATileExt(tiff, x, y, m_raster.data(), 1)
                                  : TIFFReadRGBAStripExt(tiff, y, m_raster.data(), 1);
    if (!done || !m_tiff.Error().empty()) ThrowPixelError(m_tiff);
    TurnOver(m_page.tiled ? m_block.height : std::min(m_block.height, m_page.height - y));
    return reinterpret_cast<std::uint8_t*>(m_raster.data());
  }

 private:
  void CheckExtent(std::uint32_t index, std::uint32_t row) const {
    const SBlockExtent extent = LocateBlock(m_tiff, index);
    if (m_page.compression != COMPRESSION_NONE) return;
    TIFF* tiff = m_tiff.Get();
    RequireBytes(extent.size,
                 m_page.tiled ? TIFFTileSize64(tiff) : TIFFVStripSize64(tiff, m_page.UsedBlockHeight(row)));
  }

  // libtiff delivers the lowest row first, as A B G R words: packs each row to R G B and swaps the rows.
  void TurnOver(std::uint32_t rows) {
    auto* bytes = reinterpret_cast<std::uint8_t*>(m_raster.data());
    const std::size_t width = m_block.width;
    for (std::uint32_t y = 0; y < rows / 2; ++y) {
      std::swap_ranges(m_raster.begin() + y * width, m_raster.begin() + (y + 1) * width,
                       m_raster.begin() + (rows - 1 - y) * width);
    }
    for (std::uint32_t y = 0; y < rows; ++y) {
      std::uint8_t* out = bytes + y * m_stride;
      for (std::size_t i = 0; i < width; ++i) {
        const std::uint32_t pixel = m_raster[y * width + i];
        out[3 * i] = static_cast<std::uint8_t>(TIFFGetR(pixel));
        out[3 * i + 1] = static_cast<std::uint8_t>(TIFFGetG(pixel));
        out[3 * i + 2] = static_cast<std::uint8_t>(TIFFGetB(pixel));
      }
    }
  }

  CTiffHandle& m_tiff;
  const SPage m_page;
  CRenderGuard& m_guard;
  std::vector<std::uint32_t> m_raster;
};

}  // namespace

std::unique_ptr<CBlockSource> OpenRgbaBlocks(CTiffHandle& tiff, const SPage& page, CRenderGuard& guard) {
  return std::make_unique<CRgbaBlocks>(tiff, page, guard);
}

}  // namespace imageformats::tiff
