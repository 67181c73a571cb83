#include "tests/support/encode_heif.h"

#include <libheif/heif.h>

#include <cstring>
#include <memory>
#include <stdexcept>

#if defined(QV_ADDRESS_SANITIZER)
// libheif's encoder forgets the parameters that it has libx265 make; only tests encode.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions() { return "leak:libx265\n"; }
#endif

namespace qvtest {

namespace {

void Check(const heif_error& error) {
  if (error.code != heif_error_Ok) throw std::runtime_error(error.message);
}

struct SFreeHeif {
  void operator()(heif_context* context) const noexcept { heif_context_free(context); }
  void operator()(heif_encoder* encoder) const noexcept { heif_encoder_release(encoder); }
  void operator()(heif_image* image) const noexcept { heif_image_release(image); }
  void operator()(heif_image_handle* handle) const noexcept { heif_image_handle_release(handle); }
  void operator()(heif_encoding_options* options) const noexcept { heif_encoding_options_free(options); }
};
template <class Object>
using COwned = std::unique_ptr<Object, SFreeHeif>;

heif_chroma ChromaOf(const STestPicture& picture) {
  if (picture.bits == 8) return picture.components == 4 ? heif_chroma_interleaved_RGBA : heif_chroma_interleaved_RGB;
  return picture.components == 4 ? heif_chroma_interleaved_RRGGBBAA_LE : heif_chroma_interleaved_RRGGBB_LE;
}

COwned<heif_image> ImageOf(const STestPicture& picture) {
  const int width = static_cast<int>(picture.width), height = static_cast<int>(picture.height);
  heif_image* made = nullptr;
  Check(heif_image_create(width, height, heif_colorspace_RGB, ChromaOf(picture), &made));
  COwned<heif_image> image(made);
  Check(heif_image_add_plane(made, heif_channel_interleaved, width, height, static_cast<int>(picture.bits)));
  int stride = 0;
  std::uint8_t* rows = heif_image_get_plane(made, heif_channel_interleaved, &stride);
  for (std::uint32_t y = 0; y < picture.height; ++y) {
    std::uint8_t* row = rows + static_cast<std::ptrdiff_t>(y) * stride;
    for (std::uint32_t i = 0; i < picture.width * picture.components; ++i) {
      const std::uint16_t sample = picture.samples[std::size_t{y} * picture.width * picture.components + i];
      if (picture.bits == 8) {
        row[i] = static_cast<std::uint8_t>(sample);
      } else {
        row[2 * i] = static_cast<std::uint8_t>(sample);
        row[2 * i + 1] = static_cast<std::uint8_t>(sample >> 8);
      }
    }
  }
  return image;
}

COwned<heif_encoder> EncoderFor(heif_context* context, bool av1) {
  heif_encoder* encoder = nullptr;
  Check(heif_context_get_encoder_for_format(context, av1 ? heif_compression_AV1 : heif_compression_HEVC, &encoder));
  COwned<heif_encoder> owner(encoder);
  Check(heif_encoder_set_lossy_quality(encoder, 97));
  Check(heif_encoder_set_parameter_string(encoder, "chroma", "444"));
  return owner;
}

heif_error Append(heif_context*, const void* data, std::size_t size, void* file) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  static_cast<SFileBytes*>(file)->insert(static_cast<SFileBytes*>(file)->end(), bytes, bytes + size);
  return {heif_error_Ok, heif_suberror_Unspecified, "Success"};
}

}  // namespace

bool CanEncodeHeif(bool av1) {
  return heif_have_encoder_for_format(av1 ? heif_compression_AV1 : heif_compression_HEVC) != 0;
}

SFileBytes EncodeHeif(const STestPicture& picture, const SHeifRecipe& recipe) {
  const COwned<heif_context> context(heif_context_alloc());
  const COwned<heif_encoder> encoder = EncoderFor(context.get(), recipe.av1);
  const COwned<heif_image> image = ImageOf(picture);
  if (!recipe.profile.empty()) {
    Check(heif_image_set_raw_color_profile(image.get(), "prof", recipe.profile.data(), recipe.profile.size()));
  }
  const COwned<heif_encoding_options> options(heif_encoding_options_alloc());
  options->image_orientation = static_cast<heif_orientation>(recipe.orientation);
  heif_image_handle* made = nullptr;
  Check(heif_context_encode_image(context.get(), image.get(), encoder.get(), options.get(), &made));
  const COwned<heif_image_handle> handle(made);
  if (!recipe.exif.empty()) {
    const int size = static_cast<int>(recipe.exif.size());
    Check(heif_context_add_exif_metadata(context.get(), made, recipe.exif.data(), size));
  }
  SFileBytes file;
  heif_writer writer{1, Append};
  Check(heif_context_write(context.get(), &writer, &file));
  return file;
}

}  // namespace qvtest
