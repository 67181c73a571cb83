#include "platform/imageformats/wsi/wsi_codec.h"

#include <utility>

#include "platform/imageformats/wsi/openslide_library.h"
#include "platform/imageformats/wsi/wsi_detect.h"
#include "platform/imageformats/wsi/wsi_image.h"

namespace imageformats {

namespace {

template <bool kLastResort>
class CWsiCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "WSI"; }
  bool Matches(const CInput& input) const noexcept override { return MayMatch(input) && IsSlide(input); }
  bool MayMatch(const CInput& input) const noexcept override {
    return input.IsFile() && (kLastResort || MayBeSlideTiff(input) || MayBeSlidePreview(input));
  }
  bool OpensByPath() const noexcept override { return true; }
  void Prepare() const noexcept override { (void)LoadOpenSlide(); }
  bool CanOpenMemory() const noexcept override { return false; }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CWsiImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& WsiCodec() noexcept {
  static const CWsiCodecModule<false> module;
  return module;
}

const CCodecModule& WsiFallbackCodec() noexcept {
  static const CWsiCodecModule<true> module;
  return module;
}

}  // namespace imageformats
