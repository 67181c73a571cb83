// A PNM file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/pnm/pnm_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size != 0) imageformats::Exercise(imageformats::PnmCodec(), data, size);
  return 0;
}
