#include "platform/imageformats/tiff/tiff_codec.h"

#include "platform/imageformats/tiff/tiff_image.h"

namespace imageformats {
namespace {

class TiffCodecModule final : public CodecModule {
 public:
  const char* Name() const noexcept override { return "TIF"; }

  bool Matches(const Input& input) const noexcept override {
    const auto head = input.Head();
    if (head.size() < 8) return false;
    const bool little = head[0] == 'I' && head[1] == 'I' && (head[2] == 42 || head[2] == 43) && head[3] == 0;
    const bool big = head[0] == 'M' && head[1] == 'M' && head[2] == 0 && (head[3] == 42 || head[3] == 43);
    return little || big;
  }

  std::unique_ptr<OpenedImage> Open(std::shared_ptr<const Input> input) const override {
    return std::make_unique<tiff::TiffImage>(std::move(input));
  }
};

}  // namespace

const CodecModule& TiffCodec() noexcept {
  static const TiffCodecModule module;
  return module;
}

}  // namespace imageformats
