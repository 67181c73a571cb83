// Descriptions of arrays, and packed chunks: the first byte says which packings, in which order.

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/zarr/array/array_layout.h"
#include "platform/imageformats/zarr/array/unpack.h"

using namespace imageformats;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  Attempt([&] {
    const zarr::CJson json = zarr::ParseJson({reinterpret_cast<const char*>(data), size});
    Attempt([&] { zarr::LayoutOfVersion2(json); });
    Attempt([&] { zarr::LayoutOfVersion3(json); });
  });
  std::vector<zarr::EPacking> packing{static_cast<zarr::EPacking>(data[0] % 7)};
  if (data[0] >= 128) packing.push_back(static_cast<zarr::EPacking>(data[0] / 7 % 7));
  Attempt([&] {
    CRenderGuard guard(SmallLimits());
    zarr::Unpack(packing, {data + 1, data + size}, 4096, guard);
  });
  return 0;
}
