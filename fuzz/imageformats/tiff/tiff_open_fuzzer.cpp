// Opens, describes, reads and renders a file of the TIFF family from memory.

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/picture_buffer.h"
#include "platform/imageformats/tiff/tiff_codec.h"

namespace {

imageformats::SRenderLimits Limits() {
  imageformats::SRenderLimits limits;
  limits.memory = 64 << 20;
  limits.time = std::chrono::milliseconds(1000);
  return limits;
}

void RenderSmall(imageformats::COpenedImage& image) {
  imageformats::CRenderGuard guard(Limits());
  imageformats::PictureBuffer picture(24, 18, 8, 3);
  imageformats::SRenderRequest request;
  request.width = 24;
  request.height = 18;
  image.Render(request, picture.Get(), guard);
}

void ReadWhole(imageformats::COpenedImage& image) {
  const SQvImageInfo& info = image.Info();
  if (std::uint64_t{info.width} * info.height * info.components > 1 << 20) return;
  imageformats::CRenderGuard guard(Limits());
  imageformats::PictureBuffer picture(info.width, info.height, info.bpcInMemory, info.components);
  image.Read(picture.Get(), guard);
}

template <class Body>
void Attempt(Body&& body) {
  try {
    body();
  } catch (const imageformats::CFormatError&) {
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Attempt([&] {
    const auto image = imageformats::TiffCodec().Open(imageformats::CInput::FromMemory(data, size));
    Attempt([&] { RenderSmall(*image); });
    Attempt([&] { image->Metadata(); });
    Attempt([&] {
      CQvByteArray bytes;
      image->CustomTag(L"QvCustomTag:ThumbailJpg", bytes);
    });
    Attempt([&] { ReadWhole(*image); });
  });
  return 0;
}
