#include "platform/imageformats/pnm/pnm_codec.h"

#include <utility>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/pnm/pnm_header.h"
#include "platform/imageformats/pnm/pnm_rows.h"

namespace imageformats {

namespace {

class CPnmImage final : public CBandedImage {
 public:
  explicit CPnmImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_header(ReadPnmHeader(Input())) {
    SetPixels(PnmPixels(m_header), kQvCompressionNone);
  }

  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, "PNM", ModelComponents(Pixels().model));
    metadata.text.description = TextOf(Trimmed(m_header.comment));
    return metadata;
  }

 private:
  std::unique_ptr<IPixelBands> OpenBands(SSize, CRenderGuard& guard) override {
    return OpenPnmRows(Input(), m_header, Pixels(), guard);
  }

  SPnmHeader m_header;
};

class CPnmCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "PNM"; }
  bool Matches(const CInput& input) const noexcept override { return IsPnm(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CPnmImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& PnmCodec() noexcept {
  static const CPnmCodecModule module;
  return module;
}

}  // namespace imageformats
