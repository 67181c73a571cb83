#include "platform/imageformats/jpeg/jpeg_image.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/jpeg/block_means/average_means.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"
#include "platform/imageformats/render/display.h"

namespace imageformats {

namespace {

constexpr std::uint32_t kBandRows = 16;

EColorModel ModelOf(std::uint32_t components) {
  return components == 1 ? EColorModel::kGrey : components == 3 ? EColorModel::kRgb : EColorModel::kCmyk;
}

void InvertRow(std::uint8_t* row, std::size_t samples) {
  for (std::size_t i = 0; i < samples; ++i) row[i] = static_cast<std::uint8_t>(255 - row[i]);
}

SQvImageInfo InfoOf(const SJpegMarkers& markers, SSize displayed) {
  const auto bits = static_cast<std::uint8_t>(std::min(markers.precision, 16u));
  SQvImageInfo info = PlainInfo(displayed, markers.components, bits);
  info.compression = kQvCompressionJpeg;
  info.compressionParam = markers.quality;
  return info;
}

}  // namespace

CJpegImage::CJpegImage(std::shared_ptr<const CInput> input)
    : m_input(std::move(input)),
      m_markers(ReadJpegMarkers(*m_input)),
      m_stored{m_markers.width, m_markers.height},
      m_orientation(ExifOrientation(m_markers.exif)),
      m_info(InfoOf(m_markers, DisplayedSize(m_stored, m_orientation))) {}

CJpegDecoder& CJpegImage::Decoder() {
  if (m_markers.frameMarker > kMarkerSof2 && m_markers.frameMarker != kMarkerSof9 &&
      m_markers.frameMarker != kMarkerSof10) {
    throw CUnsupportedError("Lossless and hierarchical JPEG cannot be decoded");
  }
  if (m_markers.precision == 12) throw CUnsupportedError("JPEG with 12 bits per sample cannot be decoded");
  if (!m_decoder) m_decoder = std::make_unique<CJpegDecoder>(m_input);
  const SJpegHeader& header = m_decoder->ReadHeader();
  if (SSize{header.width, header.height} != m_stored || header.components != m_markers.components) {
    throw CDamagedError("The JPEG file has contradictory headers");
  }
  return *m_decoder;
}

void CJpegImage::Read(SQvPicBuf& picture, CRenderGuard& guard) {
  CJpegDecoder& decoder = Decoder();
  const bool inverted = m_markers.components == 4 && m_markers.hasAdobe;
  decoder.Start({}, guard);
  auto* const pixels = static_cast<std::uint8_t*>(picture.data);
  if (m_orientation == EOrientation::kTopLeft && !inverted) {
    return decoder.ReadRows(pixels, picture.widthBytes, m_stored.height);
  }
  const std::size_t rowBytes = std::size_t{m_stored.width} * decoder.OutputComponents();
  const COrientedPlacement placement(m_stored, m_orientation, decoder.OutputComponents(), pixels, picture.widthBytes);
  std::vector<std::uint8_t> rows = guard.NewVector<std::uint8_t>(rowBytes * kBandRows);
  for (std::uint32_t y = 0; y < m_stored.height;) {
    const std::uint32_t count = std::min(kBandRows, m_stored.height - y);
    decoder.ReadRows(rows.data(), rowBytes, count);
    if (inverted) InvertRow(rows.data(), rowBytes * count);
    for (std::uint32_t i = 0; i < count; ++i) placement.PlaceRow(y + i, rows.data() + i * rowBytes);
    y += count;
  }
}

std::optional<SAveragedPicture> CJpegImage::AverageMeans(const SRenderRequest& request, CRenderGuard& guard) const {
  if (m_markers.frameMarker > kMarkerSof2 || m_markers.precision != 8) return std::nullopt;
  const SSize wanted = ReducedSize(m_stored, {request.width, request.height}, m_orientation);
  if (!HasMeansFor(wanted)) return std::nullopt;
  const SMeansRequest means =
      request.fast ? SMeansRequest{wanted} : SMeansRequest{wanted, 7, 14, IsWorthAllScans(wanted), true};
  const auto picture = ReadBlockMeans(*m_input, means, guard);
  if (!picture) return std::nullopt;
  return AverageBlockMeans(*picture, wanted, guard);
}

// The later scans of a progressive file are most of it, and of a large one hardly show.
bool CJpegImage::IsWorthAllScans(SSize wanted) const noexcept {
  constexpr std::uint32_t kFirstScans = 16;  // the reduction
  constexpr std::uint64_t kSmallPixels = 1'000'000;
  return m_stored.width < kFirstScans * wanted.width || m_stored.height < kFirstScans * wanted.height ||
         std::uint64_t{m_stored.width} * m_stored.height < kSmallPixels;
}

// From a pixel of a block's size on, and half a block's of colour that is sampled less often. libjpeg would be slower,
// and hardly ever nearer to the average of all pixels.
bool CJpegImage::HasMeansFor(SSize wanted) const noexcept {
  const auto leaves = [&](std::uint32_t width, std::uint32_t height) {
    return m_stored.width / width >= wanted.width && m_stored.height / height >= wanted.height;
  };
  return leaves(8, 8) && leaves(4 * m_markers.subsamplingX, 4 * m_markers.subsamplingY);
}

// The size that the scale has to cover. libjpeg makes up for colour that is sampled less often, but only as far as it
// is so along both axes.
SSize CJpegImage::SizeToCover(const SRenderRequest& request) const noexcept {
  SSize wanted = ReducedSize(m_stored, {request.width, request.height}, m_orientation);
  const auto coarsening = [&](std::uint32_t own, std::uint32_t other) {
    const std::uint32_t uneven = own / std::min(own, other);
    return request.fast ? std::max(uneven / 2, 1u) : uneven;
  };
  wanted.width *= coarsening(m_markers.subsamplingX, m_markers.subsamplingY);
  wanted.height *= coarsening(m_markers.subsamplingY, m_markers.subsamplingX);
  return wanted;
}

SAveragedPicture CJpegImage::AverageDecoded(const SRenderRequest& request, CRenderGuard& guard) {
  CJpegDecoder& decoder = Decoder();
  const SSize displayed{request.width, request.height};
  SJpegDecodeOptions how;
  how.scale = JpegScaleFor(m_stored, SizeToCover(request), request.fast);
  // Where nothing is averaged, coarse colour would show.
  how.fast = request.fast && ReducedSize(m_stored, displayed, m_orientation) != m_stored;
  decoder.Start(how, guard);
  const SSize scaled = decoder.OutputSize();
  const std::uint32_t components = decoder.OutputComponents();
  const SSourceAxis x = decoder.AxisX(), y = decoder.AxisY();
  CAreaReducer reducer(x, y, ReducedSize(x, y, displayed, m_orientation), components, ESampleType::kU8, guard);
  const std::size_t rowBytes = std::size_t{scaled.width} * components;
  std::vector<std::uint8_t> rows = guard.NewVector<std::uint8_t>(rowBytes * kBandRows);
  for (std::uint32_t row = 0; row < scaled.height;) {
    const std::uint32_t count = std::min(kBandRows, scaled.height - row);
    decoder.ReadRows(rows.data(), rowBytes, count);
    reducer.AddBand(0, row, scaled.width, count, rows.data(), rowBytes);
    row += count;
  }
  return reducer.Finish();
}

void CJpegImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  std::optional<SAveragedPicture> averages = AverageMeans(request, guard);
  if (!averages) averages = AverageDecoded(request, guard);
  SDisplaySettings show;
  show.model = ModelOf(averages->components);
  show.inverted = m_markers.components == 4 && m_markers.hasAdobe;
  show.profile = m_markers.profile;
  show.orientation = m_orientation;
  DisplayAverages(*averages, show, picture);
}

SImageMetadata CJpegImage::Metadata() {
  SImageMetadata metadata = PlainMetadata(m_info, "JPEG", m_markers.components == 1 ? 1 : 3);
  ApplyExif(m_markers.exif, metadata);
  SetIfEmpty(metadata.text.description, TextOf(m_markers.comment));
  return metadata;
}

}  // namespace imageformats
