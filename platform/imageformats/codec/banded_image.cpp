#include "platform/imageformats/codec/banded_image.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <utility>

#include "platform/imageformats/render/alpha.h"
#include "platform/imageformats/render/display.h"

namespace imageformats {

namespace {

// Bands of about this size are still in the processor's cache when they are averaged.
constexpr std::uint64_t kRowsBandBytes = 128u << 10;

// Takes the opacity out of bands, row by row.
class CBandBlender {
 public:
  CBandBlender(const SStoredPixels& pixels, std::uint32_t widest, CRenderGuard& guard)
      : m_pixels(pixels), m_row(guard.NewVector<std::uint16_t>(std::uint64_t{widest} * pixels.Components())) {}

  void Add(const SPixelBand& band, CAreaReducer& reducer) {
    const auto* row = static_cast<const std::uint8_t*>(band.rows);
    const std::uint32_t width = std::min<std::uint32_t>(band.width, Widest());
    for (std::uint32_t y = 0; y < band.height; ++y, row += band.stride) {
      Blend(row, width);
      reducer.AddBand(band.x, band.y + y, width, 1, m_row.data(), m_row.size() * 2);
    }
  }

 private:
  std::uint32_t Widest() const noexcept { return static_cast<std::uint32_t>(m_row.size() / m_pixels.Components()); }
  void Blend(const std::uint8_t* row, std::uint32_t width) noexcept {
    const std::uint32_t colors = ModelComponents(m_pixels.model);
    if (m_pixels.SampleBytes() == 1) {
      BlendOverWhite(row, width, colors, m_pixels.premultiplied, reinterpret_cast<std::uint8_t*>(m_row.data()));
    } else {
      BlendOverWhite(reinterpret_cast<const std::uint16_t*>(row), width, colors, m_pixels.premultiplied,
                     static_cast<std::uint16_t>(m_pixels.white), m_row.data());
    }
  }

  const SStoredPixels& m_pixels;
  std::vector<std::uint16_t> m_row;
};

}  // namespace

std::uint8_t SStoredPixels::SignificantBits() const noexcept {
  return static_cast<std::uint8_t>(std::max(8, static_cast<int>(std::bit_width(white))));
}

CPixelRows::CPixelRows(const SStoredPixels& pixels, CRenderGuard& guard) : m_size(pixels.size), m_guard(guard) {
  guard.CheckPixels(m_size.width, m_size.height);
  const std::uint64_t rowBytes = CRenderGuard::Multiply(pixels.PixelBytes(), m_size.width);
  m_bandRows = static_cast<std::uint32_t>(std::clamp<std::uint64_t>(kRowsBandBytes / rowBytes, 1, m_size.height));
  m_rows = guard.NewVector<std::uint16_t>(CRenderGuard::Multiply((rowBytes + 1) / 2, m_bandRows));
  m_stride = static_cast<std::size_t>((rowBytes + 1) / 2 * 2);
}

bool CPixelRows::Next(SPixelBand& band) {
  if (m_done == m_size.height) return false;
  m_guard.CheckTime();
  auto* rows = reinterpret_cast<std::uint8_t*>(m_rows.data());
  const std::uint32_t count = std::min(m_bandRows, m_size.height - m_done);
  for (std::uint32_t i = 0; i < count; ++i) DecodeRow(rows + i * m_stride);
  band = {0, m_done, m_size.width, count, rows, m_stride};
  m_done += count;
  return true;
}

void CBandedImage::SetPixels(SStoredPixels pixels, std::uint32_t compression) {
  m_pixels = std::move(pixels);
  Require(m_pixels.size.width != 0 && m_pixels.size.height != 0, "The picture is empty");
  Require(CRenderGuard::Multiply(m_pixels.PixelBytes(), std::max(m_pixels.size.width, m_pixels.size.height)) <=
              std::numeric_limits<std::uint32_t>::max(),
          "The picture has an impossible size");
  m_info = PlainInfo(m_pixels.Displayed(), m_pixels.Components(), m_pixels.SignificantBits());
  m_info.compression = compression;
}

void CBandedImage::Read(SQvPicBuf& picture, CRenderGuard& guard) {
  const std::unique_ptr<IPixelBands> bands = OpenBands({}, guard);
  const COrientedPlacement placement(m_pixels.size, m_pixels.orientation, m_pixels.PixelBytes(), picture.data,
                                     picture.widthBytes);
  std::uint64_t placed = 0;
  for (SPixelBand band; bands->Next(band);) {
    guard.CheckTime();
    if (band.x >= m_pixels.size.width || band.y >= m_pixels.size.height) continue;
    const std::uint32_t width = std::min(band.width, m_pixels.size.width - band.x);
    const std::uint32_t height = std::min(band.height, m_pixels.size.height - band.y);
    const auto* row = static_cast<const std::uint8_t*>(band.rows);
    for (std::uint32_t y = 0; y < height; ++y) placement.PlaceRun(band.x, band.y + y, width, row + y * band.stride);
    placed += std::uint64_t{width} * height;
  }
  Require(placed == std::uint64_t{m_pixels.size.width} * m_pixels.size.height, "Parts of the picture are missing");
}

SAveragedPicture CBandedImage::Average(SSize request, CRenderGuard& guard) {
  const SSize wanted = ReducedSize(m_pixels.size, request, m_pixels.orientation);
  const std::unique_ptr<IPixelBands> bands = OpenBands(wanted, guard);
  const SSourceAxis x = bands->AxisX(), y = bands->AxisY();
  const ESampleType type = m_pixels.SampleBytes() == 2 ? ESampleType::kU16 : ESampleType::kU8;
  CAreaReducer reducer(x, y, ReducedSize(x, y, request, m_pixels.orientation), ModelComponents(m_pixels.model), type,
                       guard);
  std::unique_ptr<CBandBlender> blender;
  if (m_pixels.hasAlpha) blender = std::make_unique<CBandBlender>(m_pixels, x.pixels, guard);
  for (SPixelBand band; bands->Next(band);) {
    guard.CheckTime();
    if (blender) {
      blender->Add(band, reducer);
    } else {
      reducer.AddBand(band.x, band.y, band.width, band.height, band.rows, band.stride);
    }
  }
  Require(reducer.IsComplete(), "Parts of the picture are missing");
  return reducer.Finish();
}

void CBandedImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  const SAveragedPicture averages = Average({request.width, request.height}, guard);
  SDisplaySettings show;
  show.model = m_pixels.model;
  show.nominal = m_pixels.range.value_or(SDisplayRange{0.0, static_cast<double>(m_pixels.white)});
  show.stretch = !m_pixels.range && m_pixels.SignificantBits() > 8;
  show.inverted = m_pixels.inverted;
  show.profile = m_pixels.profile;
  show.orientation = m_pixels.orientation;
  DisplayAverages(averages, show, picture);
}

}  // namespace imageformats
