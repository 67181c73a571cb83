#include "platform/imageformats/webp/webp_codec.h"

#include <utility>

#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/webp/webp_bands.h"
#include "platform/imageformats/webp/webp_chunks.h"

namespace imageformats {

namespace {

class CWebpImage final : public CBandedImage {
 public:
  explicit CWebpImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_overview(ReadWebpOverview(Input())) {
    SStoredPixels pixels;
    pixels.size = m_overview.canvas;
    pixels.hasAlpha = m_overview.hasAlpha;
    pixels.orientation = ExifOrientation(m_overview.exif);
    pixels.profile = m_overview.profile;
    SetPixels(std::move(pixels), m_overview.isLossless ? kQvCompressionLossless : kQvCompressionOther);
    m_info.sequenceCount = m_overview.frames;
  }

  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, "WebP", 3);
    ApplyExif(m_overview.exif, metadata);
    AddLoop(kQvLoopTime, m_overview.frames, m_overview.frameSeconds, &metadata);
    return metadata;
  }

 private:
  std::unique_ptr<IPixelBands> OpenBands(SSize wanted, CRenderGuard& guard) override {
    Require(!m_overview.isTruncated, "The file is truncated: a part of it is not complete");
    return OpenWebpBands(Input(), m_overview, Pixels(), wanted, guard);
  }

  SWebpOverview m_overview;
};

class CWebpCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "WEBP"; }
  bool Matches(const CInput& input) const noexcept override { return IsWebp(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CWebpImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& WebpCodec() noexcept {
  static const CWebpCodecModule module;
  return module;
}

}  // namespace imageformats
