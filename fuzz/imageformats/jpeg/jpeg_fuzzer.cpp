// A JPEG file from memory, through the markers, the block means and libjpeg.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/jpeg/block_means/block_means.h"
#include "platform/imageformats/jpeg/jpeg_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace imageformats;
  Exercise(JpegCodec(), data, size);
  // Also where a rendering would not ask for them.
  for (const bool quarterBlockChroma : {false, true}) {
    Attempt([&] {
      CRenderGuard guard(SmallLimits());
      ReadBlockMeans(*CInput::FromMemory(data, size), quarterBlockChroma, guard);
    });
  }
  return 0;
}
