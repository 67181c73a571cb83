// A JPEG 2000 file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/jpeg2000/jpeg2000_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size != 0) imageformats::Exercise(imageformats::Jpeg2000Codec(), data, size);
  return 0;
}
