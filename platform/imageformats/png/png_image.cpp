#include "platform/imageformats/png/png_image.h"

#include <utility>

#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/png/png_display.h"
#include "platform/imageformats/png/png_rows.h"
#include "platform/imageformats/png/png_texts.h"
#include "platform/imageformats/render/display.h"
#include "platform/imageformats/render/label_colors.h"
#include "platform/imageformats/render/nearest_sampler.h"

namespace imageformats {

namespace {

constexpr std::uint32_t kPngBandRows = 16;

SQvImageInfo InfoOf(const SPngHeader& header, const CPngRowConverter& pixels, SSize displayed) {
  SQvImageInfo info = PlainInfo(displayed, pixels.Components(), static_cast<std::uint8_t>(8 * pixels.SampleBytes()));
  if (header.bitDepth == 16 && header.significantBits != 0) info.bpcSignificant = header.significantBits;
  info.compression = kQvCompressionLossless;
  return info;
}

}  // namespace

CPngImage::CPngImage(std::shared_ptr<const CInput> input)
    : m_input(std::move(input)),
      m_header(ReadPngHeader(*m_input)),
      m_pixels(m_header),
      m_stored{m_header.width, m_header.height},
      m_orientation(ExifOrientation(m_header.exif)),
      m_info(InfoOf(m_header, m_pixels, DisplayedSize(m_stored, m_orientation))) {}

void CPngImage::Read(SQvPicBuf& picture, CRenderGuard& guard) {
  const std::unique_ptr<IPngRowSource> rows = OpenPngRows(m_input, m_header, guard);
  const COrientedPlacement placement(m_stored, m_orientation, m_pixels.Components() * m_pixels.SampleBytes(),
                                     picture.data, picture.widthBytes);
  // In 16-bit units, for alignment.
  std::vector<std::uint16_t> buffer = guard.NewVector<std::uint16_t>((m_pixels.RowBytes() + 1) / 2);
  auto* converted = reinterpret_cast<std::uint8_t*>(buffer.data());
  for (std::uint32_t y = 0; y < m_stored.height;) {
    const IPngRowSource::SBand band = rows->NextBand(kPngBandRows);
    for (std::uint32_t i = 0; i < band.count; ++i, ++y) {
      m_pixels.Convert(band.rows + i * band.stride, converted);
      placement.PlaceRow(y, converted);
    }
  }
}

template <class Take>
void CPngImage::VisitBands(CRenderGuard& guard, Take&& take) const {
  const std::unique_ptr<IPngRowSource> rows = OpenPngRows(m_input, m_header, guard);
  const bool asStored = m_pixels.IsIdentity() && !m_pixels.HasAlpha();
  const std::size_t words = asStored ? 0 : (m_pixels.RowBytes() + 1) / 2;
  std::vector<std::uint16_t> buffer = guard.NewVector<std::uint16_t>(words * kPngBandRows);
  for (std::uint32_t y = 0; y < m_stored.height;) {
    IPngRowSource::SBand band = rows->NextBand(kPngBandRows);
    for (std::uint32_t i = 0; i < band.count && !asStored; ++i) {
      auto* row = reinterpret_cast<std::uint8_t*>(buffer.data() + i * words);
      m_pixels.Convert(band.rows + i * band.stride, row);
      BlendPngRowOverWhite(m_pixels, row, m_stored.width);
    }
    if (!asStored) band = {reinterpret_cast<std::uint8_t*>(buffer.data()), words * 2, band.count};
    take(y, band);
    y += band.count;
  }
}

SAveragedPicture CPngImage::Average(SSize reduced, CRenderGuard& guard) const {
  const std::uint32_t colors = m_pixels.Components() - (m_pixels.HasAlpha() ? 1 : 0);
  CAreaReducer reducer(m_stored, reduced, colors, SampleType(), guard);
  VisitBands(guard, [&](std::uint32_t y, const IPngRowSource::SBand& band) {
    reducer.AddBand(0, y, m_stored.width, band.count, band.rows, band.stride);
  });
  return reducer.Finish();
}

SAveragedPicture CPngImage::Sample(SSize reduced, CRenderGuard& guard) const {
  CNearestSampler sampler(m_stored, reduced, SampleType(), guard);
  VisitBands(guard, [&](std::uint32_t y, const IPngRowSource::SBand& band) {
    sampler.AddBand(0, y, m_stored.width, band.count, band.rows, band.stride, m_pixels.SampleBytes());
  });
  return sampler.Finish();
}

void CPngImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  const SSize reduced = ReducedSize(m_stored, {request.width, request.height}, m_orientation);
  SAveragedPicture averages = Average(reduced, guard);
  if (!m_pixels.HasAlpha() && MayBeLabels(averages)) {
    const SAveragedPicture samples = Sample(reduced, guard);
    if (AreLabels(samples)) return OrientAndFitRgb(ColorLabels(samples), reduced, m_orientation, picture);
  }
  SDisplaySettings show;
  show.model = averages.components == 1 ? EColorModel::kGrey : EColorModel::kRgb;
  show.nominal = NominalRange(m_info.bpcInMemory);
  show.stretch = m_info.bpcSignificant > 8;
  show.profile = m_header.profile;
  show.orientation = m_orientation;
  CorrectPngGamma(m_header, show.nominal.high, averages);
  DisplayAverages(averages, show, picture);
}

SImageMetadata CPngImage::Metadata() {
  const bool isColor = (m_header.colorType & 2) != 0;
  SImageMetadata metadata = PlainMetadata(m_info, "PNG", isColor ? 3 : 1);
  ApplyPngTexts(ReadPngTexts(*m_input), metadata);
  ApplyExif(m_header.exif, metadata);
  return metadata;
}

}  // namespace imageformats
