#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/render/color_transform.h"
#include "platform/imageformats/render/orientation.h"
#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

// How the pixels of a single picture are stored once they are decoded: samples interleaved, opacity last.
struct SStoredPixels {
  SSize size;
  EColorModel model = EColorModel::kRgb;  // grey, RGB or CMYK
  bool hasAlpha = false;
  bool premultiplied = false;
  // The value of full intensity (or ink), and of full opacity: up to 255 samples are bytes, above 16-bit words.
  std::uint32_t white = 255;
  bool inverted = false;               // the lowest value is white
  std::optional<SDisplayRange> range;  // what the file shows as black and white, instead of stretching
  EOrientation orientation = EOrientation::kTopLeft;
  std::vector<std::uint8_t> profile;  // ICC; may be empty

  std::uint32_t Components() const noexcept { return ModelComponents(model) + (hasAlpha ? 1 : 0); }
  std::uint32_t SampleBytes() const noexcept { return white > 255 ? 2 : 1; }
  std::uint32_t PixelBytes() const noexcept { return Components() * SampleBytes(); }
  SSize Displayed() const noexcept { return DisplayedSize(size, orientation); }
  std::uint8_t SignificantBits() const noexcept;
};

// A rectangle of decoded pixels; rows lie `stride` bytes apart, aligned for the samples, valid until the next one.
struct SPixelBand {
  std::uint32_t x = 0, y = 0, width = 0, height = 0;
  const void* rows = nullptr;
  std::size_t stride = 0;
};

// Decodes one picture piece by piece: rows, strips or tiles in any order, each pixel once.
class IPixelBands {
 public:
  virtual ~IPixelBands() = default;
  // The grid that the bands lie on: that of the picture, or of a smaller one where the decoder scales.
  virtual SSourceAxis AxisX() const noexcept = 0;
  virtual SSourceAxis AxisY() const noexcept = 0;
  // False behind the last band. Throws CDamagedError.
  virtual bool Next(SPixelBand& band) = 0;
};

// Rows one by one from the top, at full size: what most IPixelBands are.
class CPixelRows : public IPixelBands {
 public:
  SSourceAxis AxisX() const noexcept override { return PlainAxis(m_size.width); }
  SSourceAxis AxisY() const noexcept override { return PlainAxis(m_size.height); }
  bool Next(SPixelBand& band) final;

 protected:
  // Throws CDamagedError for a picture over the limits. `guard` must outlive the rows.
  CPixelRows(const SStoredPixels& pixels, CRenderGuard& guard);

  // Fills in the next stored row: width * PixelBytes() bytes, aligned for 16-bit words.
  virtual void DecodeRow(std::uint8_t* row) = 0;

 private:
  SSize m_size;
  CRenderGuard& m_guard;
  std::size_t m_stride;
  std::vector<std::uint16_t> m_rows;
  std::uint32_t m_bandRows;
  std::uint32_t m_done = 0;
};

// An opened image whose pixels come in bands: full size as stored, overviews averaged, more than 8 bits stretched,
// opacity laid over white.
class CBandedImage : public COpenedImage {
 public:
  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return m_input->Size(); }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;

 protected:
  explicit CBandedImage(std::shared_ptr<const CInput> input) : m_input(std::move(input)) {}

  // To be called by the constructor. Throws CDamagedError for an empty picture.
  void SetPixels(SStoredPixels pixels, std::uint32_t compression);
  const SStoredPixels& Pixels() const noexcept { return m_pixels; }
  const CInput& Input() const noexcept { return *m_input; }
  const std::shared_ptr<const CInput>& SharedInput() const noexcept { return m_input; }

  // `wanted` is the smallest size that will do, as stored; 0 x 0: nothing but the full size.
  virtual std::unique_ptr<IPixelBands> OpenBands(SSize wanted, CRenderGuard& guard) = 0;

  SQvImageInfo m_info;

 private:
  SAveragedPicture Average(SSize request, CRenderGuard& guard);

  std::shared_ptr<const CInput> m_input;
  SStoredPixels m_pixels;
};

}  // namespace imageformats
