// A NIfTI file from memory.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/nifti/nifti_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  imageformats::Exercise(imageformats::NiftiCodec(), data, size);
  return 0;
}
