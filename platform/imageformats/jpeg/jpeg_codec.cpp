#include "platform/imageformats/jpeg/jpeg_codec.h"

#include <utility>

#include "platform/imageformats/jpeg/jpeg_image.h"
#include "platform/imageformats/jpeg/jpeg_writer.h"

namespace imageformats {

namespace {

class JpegCodecModule final : public CodecModule {
 public:
  const char* Name() const noexcept override { return "JPG"; }

  bool Matches(const Input& input) const noexcept override {
    const auto head = input.Head();
    return head.size() >= 3 && head[0] == 0xFF && head[1] == 0xD8 && head[2] == 0xFF;
  }

  std::unique_ptr<OpenedImage> Open(std::shared_ptr<const Input> input) const override {
    return std::make_unique<JpegImage>(std::move(input));
  }

  std::unique_ptr<PictureWriter> CreateWriter(CQvByteArray& destination) const override {
    return std::make_unique<JpegWriter>(destination);
  }
};

}  // namespace

const CodecModule& JpegCodec() noexcept {
  static const JpegCodecModule module;
  return module;
}

}  // namespace imageformats
