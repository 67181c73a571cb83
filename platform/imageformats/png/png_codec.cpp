#include "platform/imageformats/png/png_codec.h"

#include <utility>

#include "platform/imageformats/png/png_chunks.h"
#include "platform/imageformats/png/png_image.h"

namespace imageformats {

namespace {

class PngCodecModule final : public CodecModule {
 public:
  const char* Name() const noexcept override { return "PNG"; }
  bool Matches(const Input& input) const noexcept override { return IsPng(input); }
  std::unique_ptr<OpenedImage> Open(std::shared_ptr<const Input> input) const override {
    return std::make_unique<PngImage>(std::move(input));
  }
};

}  // namespace

const CodecModule& PngCodec() noexcept {
  static const PngCodecModule module;
  return module;
}

}  // namespace imageformats
