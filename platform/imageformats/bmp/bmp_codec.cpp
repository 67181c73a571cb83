#include "platform/imageformats/bmp/bmp_codec.h"

#include <utility>

#include "platform/imageformats/bmp/bmp_header.h"
#include "platform/imageformats/bmp/bmp_rows.h"
#include "platform/imageformats/codec/banded_image.h"

namespace imageformats {

namespace {

class CBmpImage final : public CBandedImage {
 public:
  explicit CBmpImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_header(ReadBmpHeader(Input())) {
    const bool isPlain = m_header.coding == EBmpCoding::kPlain;
    SetPixels(BmpPixels(m_header), isPlain ? kQvCompressionNone : kQvCompressionLossless);
  }

  SImageMetadata Metadata() override { return PlainMetadata(m_info, "BMP", ModelComponents(Pixels().model)); }

 private:
  std::unique_ptr<IPixelBands> OpenBands(SSize, CRenderGuard& guard) override {
    return OpenBmpRows(Input(), m_header, Pixels(), guard);
  }

  SBmpHeader m_header;
};

class CBmpCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "BMP"; }
  bool Matches(const CInput& input) const noexcept override { return IsBmp(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CBmpImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& BmpCodec() noexcept {
  static const CBmpCodecModule module;
  return module;
}

}  // namespace imageformats
