#include "platform/imageformats/dicom/dicom_bands.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/dicom/dicom_frames.h"
#include "platform/imageformats/dicom/frame_decoder.h"

namespace imageformats {

namespace {

constexpr std::uint32_t kNoFrame = 0xFFFFFFFFu;

// The frame of each tile, row by row.
class CTileGrid {
 public:
  CTileGrid(const SDicomHeader& header, CRenderGuard& guard) {
    if (!header.IsTiled()) {
      m_frames = {header.frames / 2};
      return;
    }
    m_columns = TilesAlong(header.total.width, header.frame.width);
    const std::uint64_t tiles = std::uint64_t{m_columns} * TilesAlong(header.total.height, header.frame.height);
    // Each tile but those that are left out has a frame.
    Require(tiles <= 1u << 24, "The DICOM slide has an impossible number of tiles");
    m_frames = guard.NewVector<std::uint32_t>(tiles);
    if (header.isTiledFull || header.places.empty()) {
      PlaceAll(header);
    } else {
      PlaceSparsely(header);
    }
  }

  std::uint32_t Count() const noexcept { return static_cast<std::uint32_t>(m_frames.size()); }
  std::uint32_t Columns() const noexcept { return m_columns; }
  std::uint32_t FrameOf(std::uint32_t tile) const noexcept { return m_frames[tile]; }

 private:
  static std::uint32_t TilesAlong(std::uint32_t total, std::uint32_t tile) { return 1 + (total - 1) / tile; }

  // The middle focal plane of the first optical path.
  void PlaceAll(const SDicomHeader& header) {
    const std::uint64_t first = std::uint64_t{header.focalPlanes / 2} * m_frames.size();
    Require(first + m_frames.size() <= header.frames, "Tiles of the slide are missing");
    for (std::size_t i = 0; i < m_frames.size(); ++i) m_frames[i] = static_cast<std::uint32_t>(first + i);
  }

  void PlaceSparsely(const SDicomHeader& header) {
    std::fill(m_frames.begin(), m_frames.end(), kNoFrame);
    Require(header.places.size() >= header.frames, "The slide does not tell where its tiles are");
    for (std::uint32_t i = 0; i < header.frames; ++i) {
      const std::uint32_t x = header.places[i].first - 1, y = header.places[i].second - 1;
      Require(x < header.total.width && y < header.total.height, "A tile of the slide lies outside of it");
      if (x % header.frame.width != 0 || y % header.frame.height != 0) {
        throw CUnsupportedError("Slides whose tiles lie on no grid are not supported");
      }
      std::uint32_t& frame = m_frames[std::size_t{y / header.frame.height} * m_columns + x / header.frame.width];
      if (frame == kNoFrame) frame = i;
    }
  }

  std::uint32_t m_columns = 1;
  std::vector<std::uint32_t> m_frames;
};

class CDicomBands final : public IPixelBands {
 public:
  CDicomBands(const CInput& input, const SDicomHeader& header, const SStoredPixels& pixels, SSize wanted,
              CRenderGuard& guard)
      : m_pixels(pixels), m_guard(guard), m_grid(header, guard), m_frames(input, header, guard) {
    guard.CheckPixels(pixels.size.width, pixels.size.height);
    std::uint32_t tile = 0;
    while (m_grid.FrameOf(tile) == kNoFrame && tile + 1 < m_grid.Count()) ++tile;
    Require(m_grid.FrameOf(tile) < header.frames, "Tiles of the slide are missing");
    const std::size_t size = m_frames.Read(m_grid.FrameOf(tile), m_bytes);
    m_decoder = OpenFrameDecoder(header, pixels, wanted, {m_bytes.data(), size}, guard);
  }

  SSourceAxis AxisX() const noexcept override { return AxisOf(m_pixels.size.width); }
  SSourceAxis AxisY() const noexcept override { return AxisOf(m_pixels.size.height); }

  bool Next(SPixelBand& band) override {
    if (m_tile == m_grid.Count()) return false;
    m_guard.CheckTime();
    const SSize size = m_decoder->Size();
    const std::uint32_t frame = m_grid.FrameOf(m_tile);
    const void* rows = frame == kNoFrame ? WhiteTile() : Decoded(frame);
    band = {m_tile % m_grid.Columns() * size.width,
            m_tile / m_grid.Columns() * size.height,
            size.width,
            size.height,
            rows,
            m_decoder->Stride()};
    ++m_tile;
    return true;
  }

 private:
  SSourceAxis AxisOf(std::uint32_t side) const noexcept {
    const std::uint64_t pitch = 1ull << m_decoder->Halvings();
    return {static_cast<std::uint32_t>((side + pitch - 1) / pitch), pitch, side};
  }

  const std::uint8_t* Decoded(std::uint32_t frame) {
    const std::size_t size = m_frames.Read(frame, m_bytes);
    return m_decoder->Decode({m_bytes.data(), size});
  }

  const void* WhiteTile() {
    if (m_white.empty()) {
      m_white = m_guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(m_decoder->Stride(), m_decoder->Size().height));
      std::fill(m_white.begin(), m_white.end(), std::uint8_t{255});
    }
    return m_white.data();
  }

  const SStoredPixels& m_pixels;
  CRenderGuard& m_guard;
  CTileGrid m_grid;
  CDicomFrames m_frames;
  std::vector<std::uint8_t> m_bytes, m_white;
  std::unique_ptr<CFrameDecoder> m_decoder;
  std::uint32_t m_tile = 0;
};

}  // namespace

std::unique_ptr<IPixelBands> OpenDicomBands(const CInput& input, const SDicomHeader& header,
                                            const SStoredPixels& pixels, SSize wanted, CRenderGuard& guard) {
  return std::make_unique<CDicomBands>(input, header, pixels, wanted, guard);
}

}  // namespace imageformats
