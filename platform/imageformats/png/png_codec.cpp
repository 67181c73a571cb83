#include "platform/imageformats/png/png_codec.h"

#include <utility>

#include "platform/imageformats/png/png_chunks.h"
#include "platform/imageformats/png/png_image.h"

namespace imageformats {

namespace {

class CPngCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "PNG"; }
  bool Matches(const CInput& input) const noexcept override { return IsPng(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CPngImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& PngCodec() noexcept {
  static const CPngCodecModule module;
  return module;
}

}  // namespace imageformats
