// An MRC file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/mrc/mrc_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  imageformats::Exercise(imageformats::MrcCodec(), data, size);
  return 0;
}
