// An NRRD file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/nrrd/nrrd_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  imageformats::Exercise(imageformats::NrrdCodec(), data, size);
  return 0;
}
