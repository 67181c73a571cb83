#include <algorithm>
#include <utility>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "platform/imageformats/tiff/blocks/block_source.h"
#include "platform/imageformats/tiff/blocks/jpeg_streams.h"
#include "platform/imageformats/tiff/blocks/old_jpeg.h"

namespace imageformats::tiff {
namespace {

constexpr std::uint32_t kJpegBandRows = 64;

EJpegColor ColorOf(const SPage& page) noexcept {
  if (page.RowSamples() == 1) return EJpegColor::kGrey;
  if (page.photometric == PHOTOMETRIC_YCBCR) return EJpegColor::kYCbCr;
  return page.photometric == PHOTOMETRIC_SEPARATED ? EJpegColor::kCmyk : EJpegColor::kRgb;
}

// Palette indices must not be averaged.
std::uint32_t ScaleFor(const SPage& page, SSize wanted, bool fast) noexcept {
  if (wanted == SSize{} || page.photometric == PHOTOMETRIC_PALETTE) return 8;
  std::uint32_t scale = JpegScaleFor(page.Size(), wanted, fast);
  const auto splits = [&](std::uint32_t blocks, std::uint32_t side) { return blocks > 1 && side * scale % 8 != 0; };
  while (splits(page.BlocksAcross(), page.blockWidth) || splits(page.BlocksDown(), page.blockHeight)) ++scale;
  return scale;
}

constexpr std::uint32_t Scaled(std::uint32_t side, std::uint32_t scale) noexcept {
  return static_cast<std::uint32_t>((std::uint64_t{side} * scale + 7) / 8);
}

// JPEG tiles and strips (TIFF Technical Note 2), scaled while they are decoded. A picture in a single strip comes in
// bands of some rows.
class CJpegBlocks final : public CBlockSource {
 public:
  // `stream`: that of the picture's only strip, where the strip itself is not one; else empty.
  CJpegBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request, std::vector<std::uint8_t> stream,
              CRenderGuard& guard)
      : m_page(page),
        m_guard(guard),
        m_streams(tiff, guard),
        m_onlyStream(std::move(stream)),
        m_decoder(std::span<const std::uint8_t>()) {
    m_how.scale = ScaleFor(page, request.wanted, request.fast);
    m_how.fast = request.fast;
    m_how.color = ColorOf(page);
    m_layout = DecodedLayoutOf(page);
    m_x = {Scaled(page.width, m_how.scale), 8, std::uint64_t{page.width} * m_how.scale};
    m_y = {Scaled(page.height, m_how.scale), 8, std::uint64_t{page.height} * m_how.scale};
    m_block = {Scaled(page.blockWidth, m_how.scale), Scaled(page.blockHeight, m_how.scale)};
    m_singleStrip = !page.tiled && page.BlocksDown() == 1 && m_block.height > kJpegBandRows;
    if (m_singleStrip) m_block.height = kJpegBandRows;
    m_isSequential = m_singleStrip || !m_onlyStream.empty();
    m_stride = std::size_t{m_block.width} * page.RowSamples();
    m_rows = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(m_stride, m_block.height));
    if (!m_streams.Tables().empty()) m_decoder.LoadTables(m_streams.Tables());
  }

  std::uint8_t* ReadBlock(std::uint32_t column, std::uint32_t row, std::uint32_t plane) override {
    m_guard.CheckTime();
    if (!m_singleStrip) {
      Start(m_page.BlockIndex(column, row, plane), column, row);
    } else if (row == 0) {
      Start(plane, 0, 0);
    }
    const std::uint32_t rows = std::min({m_block.height, m_decoder.RowsLeft(), m_y.pixels - row * m_block.height});
    m_decoder.ReadRows(m_rows.data(), m_stride, rows);
    return m_rows.data();
  }

 private:
  void Start(std::uint32_t index, std::uint32_t column, std::uint32_t row) {
    m_decoder.SetStream(m_onlyStream.empty() ? m_streams.Read(index) : std::span<const std::uint8_t>(m_onlyStream));
    CheckHeader(m_decoder.ReadHeader(), column, row, IsSubsampledPlane(index));
    m_decoder.Start(m_how, m_guard);
  }

  // The planes of colour may be smaller than that of brightness.
  bool IsSubsampledPlane(std::uint32_t index) const noexcept {
    return m_page.planar && m_page.photometric == PHOTOMETRIC_YCBCR &&
           index >= m_page.BlocksAcross() * m_page.BlocksDown();
  }

  // The stream must cover its part of the picture and fit the block.
  void CheckHeader(const SJpegHeader& header, std::uint32_t column, std::uint32_t row, bool mayBeSmaller) const {
    const std::uint32_t width = m_page.UsedBlockWidth(column);
    const std::uint32_t height = m_page.UsedBlockHeight(row);
    if (mayBeSmaller && (header.width < width || header.height < height)) throw CUnsupportedError(kPlanarSubsampled);
    if (header.width < width || header.width > m_page.blockWidth || header.height < height ||
        header.height > m_page.blockHeight || header.components != m_page.RowSamples()) {
      throw CDamagedError("The JPEG data of a strip or tile does not fit the picture");
    }
  }

  const SPage m_page;
  CRenderGuard& m_guard;
  CJpegStreams m_streams;
  const std::vector<std::uint8_t> m_onlyStream;
  CJpegDecoder m_decoder;
  SJpegDecodeOptions m_how;
  bool m_singleStrip = false;
  std::vector<std::uint8_t> m_rows;
};

}  // namespace

std::unique_ptr<CBlockSource> OpenJpegBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                             CRenderGuard& guard) {
  return std::make_unique<CJpegBlocks>(tiff, page, request, std::vector<std::uint8_t>(), guard);
}

std::unique_ptr<CBlockSource> OpenOldJpegBlocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                                CRenderGuard& guard) {
  std::vector<std::uint8_t> stream = OldJpegStream(tiff, page, guard);
  if (stream.empty()) return nullptr;
  return std::make_unique<CJpegBlocks>(tiff, page, request, std::move(stream), guard);
}

}  // namespace imageformats::tiff
