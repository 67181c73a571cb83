// EXIF as any of the formats may carry it.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/codec/exif.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  imageformats::ExifOrientation({data, size});
  imageformats::Attempt([&] {
    imageformats::SImageMetadata metadata;
    imageformats::ApplyExif({data, size}, metadata);
  });
  return 0;
}
