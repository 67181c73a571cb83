// A FITS file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/fits/fits_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  imageformats::Exercise(imageformats::FitsCodec(), data, size);
  return 0;
}
