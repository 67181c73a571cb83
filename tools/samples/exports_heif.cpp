#include <libheif/heif.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#include "tools/samples/exports.h"

// There under AddressSanitizer only.
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace {

// libheif's encoder forgets the parameters that it has libx265 make.
struct SForgottenParameters {
  SForgottenParameters() {
    if (__lsan_disable) __lsan_disable();
  }
  ~SForgottenParameters() {
    if (__lsan_enable) __lsan_enable();
  }
};

void CheckHeif(const heif_error& error) {
  if (error.code != heif_error_Ok)
    throw std::runtime_error(std::string("libheif cannot write the picture: ") + error.message);
}

struct SHeifFree {
  void operator()(heif_context* context) const { heif_context_free(context); }
  void operator()(heif_encoder* encoder) const { heif_encoder_release(encoder); }
  void operator()(heif_image* image) const { heif_image_release(image); }
};
template <class Object>
using CHeifOwner = std::unique_ptr<Object, SHeifFree>;

CHeifOwner<heif_image> HeifImageOf(const SRgbImage& image) {
  heif_image* made = nullptr;
  CheckHeif(heif_image_create(image.width, image.height, heif_colorspace_RGB, heif_chroma_interleaved_RGB, &made));
  CHeifOwner<heif_image> owner(made);
  CheckHeif(heif_image_add_plane(made, heif_channel_interleaved, image.width, image.height, 8));
  int stride = 0;
  std::uint8_t* rows = heif_image_get_plane(made, heif_channel_interleaved, &stride);
  for (int y = 0; y < image.height; ++y) {
    std::memcpy(rows + static_cast<std::ptrdiff_t>(y) * stride, image.Pixel(0, y),
                3 * static_cast<std::size_t>(image.width));
  }
  return owner;
}

heif_error AppendHeif(heif_context*, const void* data, std::size_t size, void* file) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  auto& all = *static_cast<CBytes*>(file);
  all.insert(all.end(), bytes, bytes + size);
  return {heif_error_Ok, heif_suberror_Unspecified, "Success"};
}

}  // namespace

bool CanEncodeHeif(bool av1) {
  return heif_have_encoder_for_format(av1 ? heif_compression_AV1 : heif_compression_HEVC) != 0;
}

CBytes EncodeHeif(const SRgbImage& image, bool av1) {
  const CHeifOwner<heif_context> context(heif_context_alloc());
  heif_encoder* made = nullptr;
  CheckHeif(
      heif_context_get_encoder_for_format(context.get(), av1 ? heif_compression_AV1 : heif_compression_HEVC, &made));
  const CHeifOwner<heif_encoder> encoder(made);
  CheckHeif(heif_encoder_set_lossy_quality(made, 60));
  const CHeifOwner<heif_image> picture = HeifImageOf(image);
  const SForgottenParameters forgotten;
  CheckHeif(heif_context_encode_image(context.get(), picture.get(), made, nullptr, nullptr));
  CBytes file;
  heif_writer writer{1, AppendHeif};
  CheckHeif(heif_context_write(context.get(), &writer, &file));
  return file;
}
