#include "platform/imageformats/wsi/wsi_codec.h"

#include <utility>

#include "platform/imageformats/wsi/wsi_detect.h"
#include "platform/imageformats/wsi/wsi_image.h"

namespace imageformats {

namespace {

template <bool kLastResort>
class WsiCodecModule final : public CodecModule {
 public:
  const char* Name() const noexcept override { return "WSI"; }
  bool Matches(const Input& input) const noexcept override {
    return (kLastResort || MayBeSlideTiff(input) || MayBeSlidePreview(input)) && IsSlide(input);
  }
  bool CanOpenMemory() const noexcept override { return false; }
  std::unique_ptr<OpenedImage> Open(std::shared_ptr<const Input> input) const override {
    return std::make_unique<WsiImage>(std::move(input));
  }
};

}  // namespace

const CodecModule& WsiCodec() noexcept {
  static const WsiCodecModule<false> module;
  return module;
}

const CodecModule& WsiFallbackCodec() noexcept {
  static const WsiCodecModule<true> module;
  return module;
}

}  // namespace imageformats
