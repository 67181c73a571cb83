#include "platform/imageformats/tiff/tiff_codec.h"

#include "platform/imageformats/tiff/dataset/companion.h"
#include "platform/imageformats/tiff/tiff_image.h"

namespace imageformats {
namespace {

class CTiffCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "TIF"; }

  bool Matches(const CInput& input) const noexcept override {
    const auto head = input.Head();
    if (head.size() < 8) return false;
    const bool little = head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0;
    const bool big = head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43);
    return little || big || tiff::IsCompanion(input);
  }

  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<tiff::CTiffImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& TiffCodec() noexcept {
  static const CTiffCodecModule module;
  return module;
}

}  // namespace imageformats
