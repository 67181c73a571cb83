#include <algorithm>
#include <numeric>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg2000/plane_mixer.h"
#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {
namespace {

// Tiles and strips that are JPEG 2000 codestreams, at reduced resolution.
class CJpeg2000Blocks final : public CBlockSource {
 public:
  CJpeg2000Blocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request, CRenderGuard& guard)
      : m_tiff(tiff), m_page(page), m_guard(guard) {
    m_layout = DecodedLayoutOf(page);
    m_mix.planes.resize(page.RowSamples());
    std::iota(m_mix.planes.begin(), m_mix.planes.end(), 0u);
    const bool isYcc = page.compression == kJpeg2000Ycc || page.photometric == PHOTOMETRIC_YCBCR;
    m_mix.isYcc = isYcc && page.RowSamples() == 3;
    m_reduction = ReductionFor(request.wanted);
    const std::uint64_t pitch = 1ull << m_reduction;
    m_x = {Reduced(page.width), pitch, page.width};
    m_y = {Reduced(page.height), pitch, page.height};
    m_block = {Reduced(page.blockWidth), Reduced(page.blockHeight)};
    m_stride = CRenderGuard::Multiply(std::uint64_t{m_block.width} * page.RowSamples(), page.bits / 8);
    // In 16-bit units, for alignment.
    m_rows = guard.NewVector<std::uint16_t>(CRenderGuard::Multiply((m_stride + 1) / 2, m_block.height));
  }

  std::uint8_t* ReadBlock(std::uint32_t column, std::uint32_t row, std::uint32_t plane) override {
    const auto input = Stream(m_page.BlockIndex(column, row, plane));
    const SJp2File file = ReadJp2File(*input);
    const SCodestreamSize size = ReadCodestreamSize(*input, file.codestream);
    CJpeg2000Decoder decoder(*input, file.codestream, m_reduction);
    CheckFits(decoder, size, {m_page.UsedBlockWidth(column), m_page.UsedBlockHeight(row)});
    CheckTileParts(*input, file.codestream, size.tiles, m_guard);
    ReserveFor(decoder, size);
    for (std::uint32_t tile = 0; tile < size.tiles; ++tile) {
      m_guard.CheckTime();
      decoder.DecodeTile(tile);
      PlaceTile(decoder);
    }
    return reinterpret_cast<std::uint8_t*>(m_rows.data());
  }

 private:
  std::uint32_t Reduced(std::uint32_t side) const noexcept {
    return static_cast<std::uint32_t>((std::uint64_t{side} + (1ull << m_reduction) - 1) >> m_reduction);
  }

  // As the first block can be reduced; palette indices must not be averaged, and blocks not be split.
  std::uint32_t ReductionFor(SSize wanted) {
    if (wanted == SSize{} || m_page.photometric == PHOTOMETRIC_PALETTE) return 0;
    const auto input = Stream(0);
    const SCodestreamPlace place = ReadJp2File(*input).codestream;
    ReadCodestreamSize(*input, place);
    const std::uint32_t most = CJpeg2000Decoder(*input, place, 0).Reductions();
    std::uint32_t reduction = Jpeg2000ReductionFor(m_page.Size(), wanted, most);
    const auto splits = [&](std::uint32_t blocks, std::uint32_t side) {
      return blocks > 1 && side % (1u << reduction);
    };
    while (splits(m_page.BlocksAcross(), m_page.blockWidth) || splits(m_page.BlocksDown(), m_page.blockHeight)) {
      --reduction;
    }
    return reduction;
  }

  std::shared_ptr<const CInput> Stream(std::uint32_t index) {
    const SBlockExtent place = LocateBlock(m_tiff, index);
    if (place.size > m_stream.size()) {
      m_guard.Reserve(CRenderGuard::Multiply(place.size - m_stream.size(), 2));  // the decoder keeps them, too
      m_stream.resize(static_cast<std::size_t>(place.size));
    }
    const auto size = static_cast<std::size_t>(place.size);
    ReadBlockBytes(m_tiff, place.offset, m_stream.data(), size);
    return CInput::FromMemory(m_stream.data(), size);
  }

  // The stream must cover its part of the picture and fit the block.
  void CheckFits(const CJpeg2000Decoder& decoder, const SCodestreamSize& size, SSize used) {
    const bool hasSize = size.grid.width >= used.width && size.grid.width <= m_page.blockWidth &&
                         size.grid.height >= used.height && size.grid.height <= m_page.blockHeight;
    const SJpeg2000Plane first = decoder.Plane(0);
    const bool hasSamples = decoder.Planes() >= m_page.RowSamples() && first.bits <= m_page.bits &&
                            (first.bits > 8) == (m_page.bits > 8) && first.stepX == 1 && first.stepY == 1;
    Require(hasSize && hasSamples, "The JPEG 2000 data of a strip or tile do not fit the picture");
    m_mix.white = first.bits > 8 ? (1u << first.bits) - 1 : 255;
  }

  void ReserveFor(const CJpeg2000Decoder& decoder, const SCodestreamSize& size) {
    const std::uint64_t width = std::min(size.grid.width, size.tile.width);
    const std::uint64_t bytes = decoder.MemoryFor(width * std::min(size.grid.height, size.tile.height));
    if (bytes <= m_reserved) return;
    m_guard.Reserve(bytes - m_reserved);
    m_reserved = bytes;
  }

  void PlaceTile(const CJpeg2000Decoder& decoder) {
    const std::size_t pixelBytes = std::size_t{m_page.RowSamples()} * (m_page.bits / 8);
    Require(MixTile(m_mix, decoder, m_block, m_stride, pixelBytes, reinterpret_cast<std::uint8_t*>(m_rows.data())),
            "The JPEG 2000 data of a strip or tile do not fit the picture");
  }

  CTiffHandle& m_tiff;
  const SPage m_page;
  CRenderGuard& m_guard;
  SJpeg2000Mix m_mix;
  std::uint32_t m_reduction = 0;
  std::vector<std::uint8_t> m_stream;
  std::vector<std::uint16_t> m_rows;
  std::uint64_t m_reserved = 0;
};

}  // namespace

std::unique_ptr<CBlockSource> OpenJpeg2000Blocks(CTiffHandle& tiff, const SPage& page, const SBlockRequest& request,
                                                 CRenderGuard& guard) {
  return std::make_unique<CJpeg2000Blocks>(tiff, page, request, guard);
}

}  // namespace imageformats::tiff
