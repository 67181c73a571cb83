#include "platform/imageformats/jxl/jxl_codec.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/jxl/jxl_overview.h"
#include "platform/imageformats/jxl/jxl_stream.h"

namespace imageformats {

namespace {

// What libjxl holds for each pixel beside the decoded ones: three samples of four bytes and their coefficients'
// rests, measured; and one more sample for each extra channel.
constexpr std::uint64_t kJxlBytesPerPixel = 16, kJxlBytesPerExtraSample = 4;
constexpr std::uint32_t kJxlBandRows = 16;

class CJxlBands final : public IPixelBands {
 public:
  CJxlBands(const CInput& input, const SStoredPixels& pixels, std::uint32_t extraChannels, CRenderGuard& guard)
      : m_size(pixels.size), m_guard(guard) {
    guard.CheckPixels(m_size.width, m_size.height);
    const std::uint64_t count = std::uint64_t{m_size.width} * m_size.height;
    guard.Reserve(CRenderGuard::Multiply(count, kJxlBytesPerPixel + extraChannels * kJxlBytesPerExtraSample));
    m_stride = std::size_t{m_size.width} * pixels.PixelBytes();
    m_frame = guard.NewVector<std::uint16_t>((CRenderGuard::Multiply(m_stride, m_size.height) + 1) / 2);
    Decode(input, pixels);
  }

  SSourceAxis AxisX() const noexcept override { return PlainAxis(m_size.width); }
  SSourceAxis AxisY() const noexcept override { return PlainAxis(m_size.height); }

  bool Next(SPixelBand& band) override {
    if (m_row == m_size.height) return false;
    const std::uint32_t count = std::min(kJxlBandRows, m_size.height - m_row);
    const auto* rows = reinterpret_cast<const std::uint8_t*>(m_frame.data());
    band = {0, m_row, m_size.width, count, rows + m_row * m_stride, m_stride};
    m_row += count;
    return true;
  }

 private:
  void Decode(const CInput& input, const SStoredPixels& pixels) {
    const JxlPixelFormat format{pixels.Components(), pixels.SampleBytes() == 2 ? JXL_TYPE_UINT16 : JXL_TYPE_UINT8,
                                JXL_NATIVE_ENDIAN, 0};
    CJxlStream stream(input, JXL_DEC_FULL_IMAGE, &m_guard);
    for (;;) {
      const JxlDecoderStatus status = stream.Next();
      if (status == JXL_DEC_FULL_IMAGE) return;
      Require(status == JXL_DEC_NEED_IMAGE_OUT_BUFFER, "The JPEG XL data are damaged");
      std::size_t size = 0;
      const std::size_t room = m_stride * m_size.height;
      Require(
          stream.Library().imageOutBufferSize(stream.Decoder(), &format, &size) == JXL_DEC_SUCCESS && size == room &&
              stream.Library().setImageOutBuffer(stream.Decoder(), &format, m_frame.data(), room) == JXL_DEC_SUCCESS,
          "The JPEG XL data are damaged");
    }
  }

  SSize m_size;
  CRenderGuard& m_guard;
  std::size_t m_stride = 0;
  std::vector<std::uint16_t> m_frame;
  std::uint32_t m_row = 0;
};

class CJxlImage final : public CBandedImage {
 public:
  explicit CJxlImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_overview(ReadJxlOverview(Input())) {
    SStoredPixels pixels;
    pixels.size = m_overview.size;
    pixels.model = m_overview.colors == 1 ? EColorModel::kGrey : EColorModel::kRgb;
    pixels.hasAlpha = m_overview.hasAlpha;
    pixels.premultiplied = m_overview.premultiplied;
    pixels.white = m_overview.IsWide() ? 65535 : 255;
    pixels.orientation = static_cast<EOrientation>(std::clamp(m_overview.orientation, 1, 8));
    // Grey of more than 8 bits is a measurement and keeps its values.
    if (m_overview.colors != 1 || !m_overview.IsWide()) pixels.profile = m_overview.profile;
    SetPixels(std::move(pixels), kQvCompressionOther);
    if (!m_overview.isFloat) {
      m_info.bpcSignificant = static_cast<std::uint8_t>(std::clamp<std::uint32_t>(m_overview.bits, 8, 16));
    }
    m_info.sequenceCount = m_overview.frames;
  }

  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, "JPEG XL", m_overview.colors);
    ApplyExif(m_overview.exif, metadata);
    AddLoop(kQvLoopTime, m_overview.frames, m_overview.frameSeconds, &metadata);
    return metadata;
  }

 private:
  std::unique_ptr<IPixelBands> OpenBands(SSize /*wanted*/, CRenderGuard& guard) override {
    if (m_overview.hasBlack) throw CUnsupportedError("JPEG XL pictures of inks are not supported");
    return std::make_unique<CJxlBands>(Input(), Pixels(), m_overview.extraChannels, guard);
  }

  SJxlOverview m_overview;
};

class CJxlCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "JXL"; }
  bool Matches(const CInput& input) const noexcept override { return IsJxl(input); }
  bool HasOwnDecoder() const noexcept override { return true; }
  void Prepare() const noexcept override { (void)FindJxlLibrary(); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CJxlImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& JxlCodec() noexcept {
  static const CJxlCodecModule module;
  return module;
}

}  // namespace imageformats
