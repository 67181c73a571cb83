#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/dicom/frame_decoder.h"
#include "platform/imageformats/jpeg2000/plane_mixer.h"

namespace imageformats {

namespace {

// Frames that are JPEG 2000 codestreams, at reduced resolution.
class CDicomJpeg2000Frames final : public CFrameDecoder {
 public:
  CDicomJpeg2000Frames(const SDicomHeader& header, const SStoredPixels& pixels, std::uint32_t halvings,
                       CRenderGuard& guard)
      : CFrameDecoder(header, pixels, halvings, guard), m_header(header), m_guard(guard) {
    if (header.IsPalette()) throw CUnsupportedError("JPEG 2000 with palettes is not supported");
    for (std::uint32_t i = 0; i < header.samples; ++i) m_mix.planes.push_back(i);
    m_mix.white = pixels.white;
    // The codestream says itself whether its components were transformed; OpenJPEG undoes that.
    m_mix.isYcc = header.photometric.starts_with("YBR_FULL");
    m_pixelBytes = pixels.PixelBytes();
  }

  const std::uint8_t* Decode(std::span<const std::uint8_t> bytes) override {
    const auto input = CInput::FromMemory(bytes.data(), bytes.size());
    // An even number of bytes is written; what pads is not the stream's.
    const SCodestreamPlace place{0, bytes.size()};
    const SCodestreamSize size = ReadCodestreamSize(*input, place);
    CJpeg2000Decoder decoder(*input, place, Halvings());
    CheckFits(decoder, size);
    CheckTileParts(*input, place, size.tiles, m_guard);
    ReserveFor(decoder.MemoryFor(std::uint64_t{std::min(size.grid.width, size.tile.width)} *
                                 std::min(size.grid.height, size.tile.height)));
    for (std::uint32_t tile = 0; tile < size.tiles; ++tile) {
      m_guard.CheckTime();
      decoder.DecodeTile(tile);
      PlaceTile(decoder);
    }
    return Rows();
  }

 private:
  void CheckFits(const CJpeg2000Decoder& decoder, const SCodestreamSize& size) const {
    const SJpeg2000Plane first = decoder.Plane(0);
    Require(size.grid == m_header.frame && decoder.Planes() >= m_header.samples && first.stepX == 1 && first.stepY == 1,
            "The JPEG 2000 data of a frame do not fit the picture");
  }

  void ReserveFor(std::uint64_t bytes) {
    if (bytes <= m_reserved) return;
    m_guard.Reserve(bytes - m_reserved);
    m_reserved = bytes;
  }

  void PlaceTile(const CJpeg2000Decoder& decoder) {
    Require(MixTile(m_mix, decoder, Size(), Stride(), m_pixelBytes, Rows()),
            "The JPEG 2000 data of a frame do not fit the picture");
  }

  const SDicomHeader& m_header;
  CRenderGuard& m_guard;
  SJpeg2000Mix m_mix;
  std::uint32_t m_pixelBytes = 1;
  std::uint64_t m_reserved = 0;
};

}  // namespace

std::unique_ptr<CFrameDecoder> OpenJpeg2000Frames(const SDicomHeader& header, const SStoredPixels& pixels,
                                                  std::uint32_t halvings, CRenderGuard& guard) {
  return std::make_unique<CDicomJpeg2000Frames>(header, pixels, halvings, guard);
}

}  // namespace imageformats
