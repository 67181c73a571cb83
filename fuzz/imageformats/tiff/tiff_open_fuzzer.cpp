// Opens, describes, reads and renders a file of the TIFF family from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/tiff/tiff_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  imageformats::Exercise(imageformats::TiffCodec(), data, size);
  return 0;
}
