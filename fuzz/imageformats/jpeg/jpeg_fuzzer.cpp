// A JPEG file from memory, through the markers, the block means and libjpeg.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/jpeg/block_means/average_means.h"
#include "platform/imageformats/jpeg/jpeg_codec.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace imageformats;
  Exercise(JpegCodec(), data, size);
  // Also where a rendering would not ask for them.
  for (const SMeansRequest& request :
       {SMeansRequest{}, SMeansRequest{{1, 1}}, SMeansRequest{{3, 2}, 9, 14, true, true}}) {
    Attempt([&] {
      CRenderGuard guard(SmallLimits());
      const auto means = ReadBlockMeans(*CInput::FromMemory(data, size), request, guard);
      if (means) AverageBlockMeans(*means, request.HasDetails() ? request.result : SSize{1, 1}, guard);
    });
  }
  return 0;
}
