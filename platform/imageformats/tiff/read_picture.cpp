#include "platform/imageformats/tiff/read_picture.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/planes/picture_samples.h"
#include "platform/imageformats/tiff/rows/convert_blocks.h"

namespace imageformats::tiff {
namespace {

// The finite extremes of floating-point samples.
class CExtremesSink final : public IPixelSink {
 public:
  explicit CExtremesSink(const SPixelFormat& pixelFormat) : m_pixelFormat(pixelFormat) {}

  void Add(std::uint32_t, std::uint32_t, std::uint32_t width, std::uint32_t height, const std::uint8_t* rows,
           std::size_t stride) override {
    for (std::uint32_t y = 0; y < height; ++y, rows += stride) {
      m_extremes.Include(m_pixelFormat.type, rows, std::size_t{width} * m_pixelFormat.components);
    }
  }
  SDisplayRange Range() const noexcept { return m_extremes.Range(); }

 private:
  SPixelFormat m_pixelFormat;
  CSampleExtremes m_extremes;
};

// Brings samples to the 8 or 16 bits of the picture and places them.
class CPictureSink final : public IPixelSink {
 public:
  CPictureSink(const SPixelFormat& pixelFormat, const SPage& page, std::uint32_t blockWidth, SDisplayRange range,
               SQvPicBuf& picture, CRenderGuard& guard)
      : m_pixelFormat(pixelFormat),
        m_size(page.Size()),
        m_samples(pixelFormat.type, page.bits, range),
        m_placement(page.Size(), page.orientation, std::size_t{pixelFormat.components} * (picture.bpc / 8),
                    picture.data, picture.widthBytes) {
    const bool lab = pixelFormat.model == EColorModel::kLab;
    if (lab) m_lab = std::make_unique<CColorTransform>(EColorModel::kLab, page.profile);
    const std::size_t sampleBytes = sizeof(std::uint16_t) + (lab ? sizeof(float) : 0);
    guard.Reserve(CRenderGuard::Multiply(std::uint64_t{blockWidth} * pixelFormat.components, sampleBytes));
  }

  void Add(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const std::uint8_t* rows,
           std::size_t stride) override {
    width = std::min(width, m_size.width - x);
    height = std::min(height, m_size.height - y);
    for (std::uint32_t i = 0; i < height; ++i, rows += stride) {
      m_placement.PlaceRun(x, y + i, width, Converted(rows, width));
    }
  }

 private:
  const void* Converted(const std::uint8_t* row, std::uint32_t pixels) {
    const std::size_t samples = std::size_t{pixels} * m_pixelFormat.components;
    if (m_lab) return LabRow(row, pixels);
    if (!m_pixelFormat.inverted) return m_samples.Convert(row, samples);
    if (m_pixelFormat.type == ESampleType::kU8) {
      return Map<std::uint8_t>(row, samples, [](std::uint8_t v) { return 255 - v; });
    }
    if (m_pixelFormat.type == ESampleType::kU16) {
      const auto most = static_cast<std::uint32_t>(m_pixelFormat.nominal.high);
      return Map<std::uint16_t>(row, samples, [=](std::uint32_t v) { return v < most ? most - v : 0; });
    }
    return m_samples.Convert(row, samples);
  }

  template <class T, class Function>
  const void* Map(const std::uint8_t* row, std::size_t samples, Function&& function) {
    m_row.resize(samples * sizeof(T));
    const auto* from = reinterpret_cast<const T*>(row);
    auto* to = reinterpret_cast<T*>(m_row.data());
    for (std::size_t i = 0; i < samples; ++i) to[i] = static_cast<T>(function(from[i]));
    return m_row.data();
  }

  const void* LabRow(const std::uint8_t* row, std::uint32_t pixels) {
    m_labRow.resize(std::size_t{pixels} * 3);
    const auto* wide = reinterpret_cast<const std::uint16_t*>(row);
    for (std::size_t i = 0; i < m_labRow.size(); ++i) {
      const double value = m_pixelFormat.type == ESampleType::kU16 ? wide[i] : row[i];
      m_labRow[i] = static_cast<float>(i % 3 == 0 ? value * m_pixelFormat.lightnessScale
                                                  : value * m_pixelFormat.labScale - m_pixelFormat.labOffset);
    }
    m_row.resize(m_labRow.size());
    m_lab->Convert(m_labRow.data(), pixels, m_row.data());
    return m_row.data();
  }

  const SPixelFormat m_pixelFormat;
  const SSize m_size;
  CPictureSamples m_samples;
  const COrientedPlacement m_placement;
  std::unique_ptr<CColorTransform> m_lab;
  std::vector<float> m_labRow;
  std::vector<std::uint8_t> m_row;
};

}  // namespace

void ReadFullPicture(CFileSet& files, const SDataset& dataset, SQvPicBuf& picture, CRenderGuard& guard) {
  const SPage& page = dataset.page;
  CTiffHandle& tiff = files.File(dataset.mainPlane.file).handle;
  SBlockRequest request;
  request.dataOffset = dataset.mainPlane.dataOffset;
  const std::unique_ptr<CBlockSource> source = OpenBlocks(tiff, page, request, guard);
  CRowConverter converter(page, source->Layout(), ChannelSamples(page));
  const SPixelFormat& pixelFormat = converter.PixelFormat();
  const std::uint32_t bits = SampleBytes(pixelFormat.type) == 1 || pixelFormat.model == EColorModel::kLab ? 8 : 16;
  if (picture.components != pixelFormat.components || picture.bpc != bits)
    throw CDamagedError("The picture has another shape");
  SDisplayRange range;
  if (pixelFormat.type == ESampleType::kF32 || pixelFormat.type == ESampleType::kF64) {
    CExtremesSink extremes(pixelFormat);
    ConvertBlocks(*source, converter, extremes, guard);
    range = extremes.Range();
  }
  CPictureSink sink(pixelFormat, page, source->BlockSize().width, range, picture, guard);
  ConvertBlocks(*source, converter, sink, guard);
}

}  // namespace imageformats::tiff
