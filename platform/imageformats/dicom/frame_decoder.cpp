#include "platform/imageformats/dicom/frame_decoder.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "platform/imageformats/jpeg2000/jpeg2000_decoder.h"

namespace imageformats {

namespace {

std::uint32_t JpegHalvings(SSize full, SSize wanted) {
  if (wanted == SSize{}) return 0;
  const std::uint32_t scale = JpegScaleFor(full, wanted, false);
  std::uint32_t halvings = 0;
  while (halvings < 3 && (8u >> (halvings + 1)) >= scale) ++halvings;
  return halvings;
}

std::uint32_t Jpeg2000Halvings(SSize full, SSize wanted, std::span<const std::uint8_t> sample) {
  const auto input = CInput::FromMemory(sample.data(), sample.size());
  const SCodestreamPlace place{0, sample.size()};
  ReadCodestreamSize(*input, place);
  return Jpeg2000ReductionFor(full, wanted, CJpeg2000Decoder(*input, place, 0).Reductions());
}

}  // namespace

SStoredPixels DicomPixels(const SDicomHeader& header) {
  SStoredPixels pixels;
  pixels.model = header.IsGrey() ? EColorModel::kGrey : EColorModel::kRgb;
  pixels.inverted = header.photometric == "MONOCHROME1";
  pixels.white = header.bitsAllocated == 8 || header.IsPalette() ? 255 : (1u << std::max(header.bitsStored, 9u)) - 1;
  pixels.profile = header.profile;
  const bool hasStoredScale = header.bitsAllocated == 16 || header.bitsStored == 8;
  if (header.IsGrey() && header.window && hasStoredScale) {
    const double raised = header.isSigned ? static_cast<double>(1u << (header.bitsStored - 1)) : 0.0;
    pixels.range = SDisplayRange{header.window->low + raised, header.window->high + raised};
  }
  return pixels;
}

CFrameDecoder::CFrameDecoder(const SDicomHeader& header, const SStoredPixels& pixels, std::uint32_t halvings,
                             CRenderGuard& guard)
    : m_halvings(halvings) {
  const auto halved = [&](std::uint32_t side) { return (side + (1u << halvings) - 1) >> halvings; };
  m_size = {halved(header.frame.width), halved(header.frame.height)};
  const std::uint64_t rowBytes = std::uint64_t{m_size.width} * pixels.PixelBytes();
  m_stride = static_cast<std::size_t>((rowBytes + 1) / 2 * 2);
  m_rows = guard.NewVector<std::uint16_t>(CRenderGuard::Multiply(m_stride / 2, m_size.height));
}

std::unique_ptr<CFrameDecoder> OpenFrameDecoder(const SDicomHeader& header, const SStoredPixels& pixels, SSize wanted,
                                                std::span<const std::uint8_t> sample, CRenderGuard& guard) {
  if (header.coding == EDicomCoding::kNative || header.coding == EDicomCoding::kRle) {
    return OpenNativeFrames(header, pixels, guard);
  }
  const bool isJpeg = header.coding == EDicomCoding::kJpeg;
  std::uint32_t halvings = 0;
  if (wanted != SSize{} && !header.IsPalette()) {
    halvings = isJpeg ? JpegHalvings(pixels.size, wanted) : Jpeg2000Halvings(pixels.size, wanted, sample);
  }
  // Tiles must not be split.
  const auto splits = [&](std::uint32_t side) { return header.IsTiled() && side % (1u << halvings) != 0; };
  while (halvings != 0 && (splits(header.frame.width) || splits(header.frame.height))) --halvings;
  return isJpeg ? OpenJpegFrames(header, pixels, halvings, guard) : OpenJpeg2000Frames(header, pixels, halvings, guard);
}

}  // namespace imageformats
