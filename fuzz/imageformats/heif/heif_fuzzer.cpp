// A HEIF or AVIF file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/heif/heif_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size != 0) imageformats::Exercise(imageformats::HeifCodec(), data, size);
  return 0;
}
