#include "platform/imageformats/wsi/openslide_library.h"

#include <openslide/openslide.h>

#include <cstdint>

#include "platform/imageformats/base/loaded_library.h"

// OpenSlide brings forty libraries along, which take longer to load than most pictures to decode: 6 to 8 of the 10 ms
// that a program took to start. So it is loaded when it is first asked. The functions here stand for those of the same
// names in the library; whoever calls them includes its header and knows nothing of this.

namespace imageformats {

namespace {

const CLoadedLibrary& OpenSlideLibrary() noexcept {
  static const CLoadedLibrary library{"libopenslide.so.1", "libopenslide.so.0"};
  return library;
}

}  // namespace

bool LoadOpenSlide() noexcept { return OpenSlideLibrary().IsThere(); }

}  // namespace imageformats

// Without the library nothing is detected or opened, and a function that is lacking does nothing.
#define QV_CALL_OPENSLIDE(name, otherwise, ...)                                                              \
  static const auto function = imageformats::OpenSlideLibrary().Find(&openslide_##name, "openslide_" #name); \
  return function == nullptr ? otherwise : function(__VA_ARGS__)

extern "C" {

const char* openslide_detect_vendor(const char* filename) { QV_CALL_OPENSLIDE(detect_vendor, nullptr, filename); }
openslide_t* openslide_open(const char* filename) { QV_CALL_OPENSLIDE(open, nullptr, filename); }
void openslide_close(openslide_t* slide) { QV_CALL_OPENSLIDE(close, void(), slide); }
const char* openslide_get_error(openslide_t* slide) { QV_CALL_OPENSLIDE(get_error, nullptr, slide); }
std::int32_t openslide_get_level_count(openslide_t* slide) { QV_CALL_OPENSLIDE(get_level_count, -1, slide); }
double openslide_get_level_downsample(openslide_t* slide, std::int32_t level) {
  QV_CALL_OPENSLIDE(get_level_downsample, -1.0, slide, level);
}
void openslide_get_level_dimensions(openslide_t* slide, std::int32_t level, std::int64_t* width, std::int64_t* height) {
  QV_CALL_OPENSLIDE(get_level_dimensions, void(), slide, level, width, height);
}
void openslide_read_region(openslide_t* slide, std::uint32_t* pixels, std::int64_t x, std::int64_t y,
                           std::int32_t level, std::int64_t width, std::int64_t height) {
  QV_CALL_OPENSLIDE(read_region, void(), slide, pixels, x, y, level, width, height);
}
const char* openslide_get_property_value(openslide_t* slide, const char* name) {
  QV_CALL_OPENSLIDE(get_property_value, nullptr, slide, name);
}
const char* const* openslide_get_associated_image_names(openslide_t* slide) {
  QV_CALL_OPENSLIDE(get_associated_image_names, nullptr, slide);
}
void openslide_get_associated_image_dimensions(openslide_t* slide, const char* name, std::int64_t* width,
                                               std::int64_t* height) {
  QV_CALL_OPENSLIDE(get_associated_image_dimensions, void(), slide, name, width, height);
}
void openslide_read_associated_image(openslide_t* slide, const char* name, std::uint32_t* pixels) {
  QV_CALL_OPENSLIDE(read_associated_image, void(), slide, name, pixels);
}

}  // extern "C"
