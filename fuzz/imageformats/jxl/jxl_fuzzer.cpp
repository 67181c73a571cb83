// A JPEG XL file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/jxl/jxl_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size != 0) imageformats::Exercise(imageformats::JxlCodec(), data, size);
  return 0;
}
