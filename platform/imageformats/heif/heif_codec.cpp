#include "platform/imageformats/heif/heif_codec.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/heif/heif_file.h"

namespace imageformats {

namespace {

// What libheif and its decoders hold at most for each pixel of 8 bits, measured: the decoder's planes and the converted
// picture. The decoder of AV1 keeps more planes.
constexpr std::uint64_t kHeifBytesPerPixel = 8, kAvifBytesPerPixel = 16;
constexpr std::uint32_t kHeifBandRows = 16;

class CHeifBands final : public IPixelBands {
 public:
  CHeifBands(const CHeifFile& file, const SStoredPixels& pixels, bool isAvif, CRenderGuard& guard)
      : m_size(pixels.size), m_guard(guard) {
    guard.CheckPixels(m_size.width, m_size.height);
    const std::uint64_t samples = CRenderGuard::Multiply(m_size.width, m_size.height) * pixels.SampleBytes();
    const std::uint64_t opacity = pixels.hasAlpha ? 4 : 0;
    guard.Reserve(CRenderGuard::Multiply(samples, (isAvif ? kAvifBytesPerPixel : kHeifBytesPerPixel) + opacity));
    m_image = file.Decode();
    TakePlane(pixels);
  }

  SSourceAxis AxisX() const noexcept override { return PlainAxis(m_size.width); }
  SSourceAxis AxisY() const noexcept override { return PlainAxis(m_size.height); }

  bool Next(SPixelBand& band) override {
    if (m_row == m_size.height) return false;
    m_guard.CheckTime();
    const std::uint32_t count = std::min(kHeifBandRows, m_size.height - m_row);
    band = {0, m_row, m_size.width, count, m_plane + m_row * m_stride, m_stride};
    m_row += count;
    return true;
  }

 private:
  void TakePlane(const SStoredPixels& pixels) {
    const SHeifLibrary& library = HeifLibrary();
    constexpr heif_channel kAll = heif_channel_interleaved;
    const auto bits = static_cast<unsigned>(std::clamp(library.imageGetBits(m_image.get(), kAll), 0, 16));
    Require(library.imageGetWidth(m_image.get(), kAll) == static_cast<int>(m_size.width) &&
                library.imageGetHeight(m_image.get(), kAll) == static_cast<int>(m_size.height) &&
                (1u << bits) - 1 == pixels.white,
            "The HEIF picture is not what its header says");
    int stride = 0;
    m_plane = library.imageGetPlane(m_image.get(), kAll, &stride);
    Require(m_plane != nullptr && stride > 0 &&
                static_cast<std::uint64_t>(stride) >= std::uint64_t{m_size.width} * pixels.PixelBytes(),
            "The HEIF picture is not what its header says");
    m_stride = static_cast<std::size_t>(stride);
  }

  SSize m_size;
  CRenderGuard& m_guard;
  CHeifOwner<heif_image> m_image;
  const std::uint8_t* m_plane = nullptr;
  std::size_t m_stride = 0;
  std::uint32_t m_row = 0;
};

class CHeifImage final : public CBandedImage {
 public:
  explicit CHeifImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_file(SharedInput()), m_isAvif(IsAvif(Input())) {
    SStoredPixels pixels;
    pixels.size = m_file.Size();
    pixels.hasAlpha = m_file.HasAlpha();
    pixels.premultiplied = m_file.IsPremultiplied();
    pixels.white = (1u << std::max(8u, m_file.Bits())) - 1;
    pixels.profile = m_file.Profile();
    SetPixels(std::move(pixels), kQvCompressionOther);
  }

  // The orientation in EXIF is none of the picture's: HEIF has its own.
  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, m_isAvif ? "AVIF" : "HEIF", 3);
    ApplyExif(m_file.Exif(), metadata);
    return metadata;
  }

 private:
  std::unique_ptr<IPixelBands> OpenBands(SSize /*wanted*/, CRenderGuard& guard) override {
    return std::make_unique<CHeifBands>(m_file, Pixels(), m_isAvif, guard);
  }

  CHeifFile m_file;
  bool m_isAvif;
};

class CHeifCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "HEIF"; }
  bool Matches(const CInput& input) const noexcept override { return IsHeif(input); }
  bool HasOwnDecoder() const noexcept override { return true; }
  void Prepare() const noexcept override { (void)FindHeifLibrary(); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CHeifImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& HeifCodec() noexcept {
  static const CHeifCodecModule module;
  return module;
}

}  // namespace imageformats
