#include "platform/imageformats/jpeg2000/jpeg2000_codec.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/jpeg2000/plane_mixer.h"

namespace imageformats {

namespace {

// Finer than any printer or scanner resolves: only then a resolution is that of a microscope. Micrometres.
constexpr double kLeastCalibration = 0.00001, kMostCalibration = 2.0;

// The tiles in bands of some rows.
class CJpeg2000Bands final : public IPixelBands {
 public:
  CJpeg2000Bands(const CInput& input, const SCodestreamPlace& place, const SCodestreamSize& size,
                 const SJpeg2000Mix& mix, std::uint32_t reduction, CRenderGuard& guard)
      : m_mix(mix), m_guard(guard), m_tiles(size.tiles), m_decoder(input, place, reduction) {
    guard.CheckPixels(size.grid.width, size.grid.height);
    guard.Reserve(CheckTileParts(input, place, size.tiles, guard));
    const std::uint64_t tileWidth = std::min(size.grid.width, size.tile.width);
    guard.Reserve(m_decoder.MemoryFor(tileWidth * std::min(size.grid.height, size.tile.height)));
    const bool isAtOrigin = size.x0 == 0 && size.y0 == 0;
    const SJpeg2000Plane first = m_decoder.Plane(0);
    const SSize reduced = m_decoder.ReducedSize();
    m_x = isAtOrigin ? AxisOf(reduced.width, size.grid.width, first.stepX, reduction) : PlainAxis(reduced.width);
    m_y = isAtOrigin ? AxisOf(reduced.height, size.grid.height, first.stepY, reduction) : PlainAxis(reduced.height);
    m_components = ModelComponents(mix.model) + (mix.hasAlpha ? 1u : 0u);
    m_rowWords = static_cast<std::size_t>(std::min<std::uint64_t>(tileWidth, reduced.width) * m_components);
    m_rows = guard.NewVector<std::uint16_t>(CRenderGuard::Multiply(m_rowWords, kJpeg2000BandRows));
  }

  SSourceAxis AxisX() const noexcept override { return m_x; }
  SSourceAxis AxisY() const noexcept override { return m_y; }

  bool Next(SPixelBand& band) override {
    while (m_tile == 0 || m_row == m_decoder.Plane(0).height || m_decoder.Plane(0).width == 0) {
      if (m_tile == m_tiles) return false;
      m_guard.CheckTime();
      m_decoder.DecodeTile(m_tile++);
      m_row = 0;
    }
    const SJpeg2000Plane first = m_decoder.Plane(0);
    Require(std::uint64_t{first.width} * m_components <= m_rowWords, "A tile of the picture is too large");
    const std::uint32_t count = std::min(kJpeg2000BandRows, first.height - m_row);
    for (std::uint32_t i = 0; i < count; ++i) {
      MixRow(m_mix, m_decoder, m_row + i, reinterpret_cast<std::uint8_t*>(m_rows.data() + i * m_rowWords));
    }
    band = {m_decoder.TileX(), m_decoder.TileY() + m_row, first.width, count, m_rows.data(), m_rowWords * 2};
    m_row += count;
    return true;
  }

 private:
  static constexpr std::uint32_t kJpeg2000BandRows = 16;

  static SSourceAxis AxisOf(std::uint32_t pixels, std::uint32_t grid, std::uint32_t step, std::uint32_t reduction) {
    return {pixels, 1ull << reduction, (std::uint64_t{grid} + step - 1) / step};
  }

  const SJpeg2000Mix& m_mix;
  CRenderGuard& m_guard;
  std::uint32_t m_tiles;
  std::uint32_t m_components = 0;
  std::uint32_t m_tile = 0;  // the next one
  std::uint32_t m_row = 0;   // of the one before it
  CJpeg2000Decoder m_decoder;
  SSourceAxis m_x, m_y;
  std::size_t m_rowWords = 0;
  std::vector<std::uint16_t> m_rows;
};

class CJpeg2000Image final : public CBandedImage {
 public:
  explicit CJpeg2000Image(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)),
        m_file(ReadJp2File(Input())),
        m_size(ReadCodestreamSize(Input(), m_file.codestream)) {
    const CJpeg2000Decoder decoder(Input(), m_file.codestream, 0);
    m_mix = MixOf(m_file, decoder);
    m_reductions = decoder.Reductions();
    SStoredPixels pixels;
    pixels.size = decoder.ReducedSize();
    pixels.model = m_mix.model;
    pixels.hasAlpha = m_mix.hasAlpha;
    pixels.premultiplied = m_mix.premultiplied;
    pixels.white = m_mix.white;
    pixels.profile = m_file.profile;
    SetPixels(std::move(pixels), kQvCompressionOther);
    SetTiles();
  }

  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, "JPEG 2000", ModelComponents(m_mix.model));
    ApplyExif(m_file.exif, metadata);
    SetIfEmpty(metadata.text.info1, TextOfLatin1(m_size.comment));
    const double x = m_file.pixelsPerMetreX, y = m_file.pixelsPerMetreY;
    const double micrometres = x > 0.0 ? 1e6 / x : 0.0;
    if (micrometres >= kLeastCalibration && micrometres <= kMostCalibration) {
      metadata.calibration = metadata.picture.calibration = micrometres;
      if (y > 0.0) metadata.aspect = x / y;
    }
    return metadata;
  }

 private:
  void SetTiles() {
    if (m_size.tiles == 1) return;
    m_info.tileWidth = std::min(m_size.tile.width, m_info.width);
    m_info.tileHeight = std::min(m_size.tile.height, m_info.height);
  }

  std::unique_ptr<IPixelBands> OpenBands(SSize wanted, CRenderGuard& guard) override {
    // Indices must not be averaged.
    const std::uint32_t most = m_mix.palette.columns != 0 ? 0 : m_reductions;
    const std::uint32_t reduction = Jpeg2000ReductionFor(Pixels().size, wanted, most);
    return std::make_unique<CJpeg2000Bands>(Input(), m_file.codestream, m_size, m_mix, reduction, guard);
  }

  SJp2File m_file;
  SCodestreamSize m_size;
  SJpeg2000Mix m_mix;
  std::uint32_t m_reductions = 0;
};

class CJpeg2000CodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "JP2"; }
  bool Matches(const CInput& input) const noexcept override { return IsJp2(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CJpeg2000Image>(std::move(input));
  }
};

}  // namespace

const CCodecModule& Jpeg2000Codec() noexcept {
  static const CJpeg2000CodecModule module;
  return module;
}

}  // namespace imageformats
