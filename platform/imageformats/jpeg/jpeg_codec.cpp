#include "platform/imageformats/jpeg/jpeg_codec.h"

#include <utility>

#include "platform/imageformats/jpeg/jpeg_image.h"
#include "platform/imageformats/jpeg/jpeg_writer.h"
#include "platform/imageformats/jpeg/stream/marker_reader.h"

namespace imageformats {

namespace {

class CJpegCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "JPG"; }

  bool Matches(const CInput& input) const noexcept override {
    const auto head = input.Head();
    return head.size() >= 3 && head[0] == 0xFF && head[1] == kMarkerSoi && head[2] == 0xFF;
  }

  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CJpegImage>(std::move(input));
  }

  std::unique_ptr<IPictureWriter> CreateWriter(CQvByteArray& destination) const override {
    return std::make_unique<CJpegWriter>(destination);
  }
};

}  // namespace

const CCodecModule& JpegCodec() noexcept {
  static const CJpegCodecModule module;
  return module;
}

}  // namespace imageformats
