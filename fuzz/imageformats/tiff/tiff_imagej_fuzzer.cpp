// Parses ImageJ's description and its metadata block. The input's first byte tells how much of it is description, the
// second how many 32-bit counts follow it.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "platform/imageformats/tiff/dataset/imagej.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace tiff = imageformats::tiff;
  if (size < 2) return 0;
  const std::size_t text = std::min<std::size_t>(data[0], size - 2);
  std::vector<std::uint32_t> counts(std::min<std::size_t>(data[1], (size - 2 - text) / 4));
  if (!counts.empty()) std::memcpy(counts.data(), data + 2 + text, counts.size() * 4);
  const std::size_t block = 2 + text + counts.size() * 4;
  auto imageJ = tiff::ParseImageJDescription({reinterpret_cast<const char*>(data) + 2, text});
  if (imageJ && std::uint64_t{imageJ->channels} * imageJ->slices * imageJ->frames > imageJ->images) __builtin_trap();
  if (!imageJ) imageJ.emplace();
  tiff::ParseImageJMetadata(counts, {data + block, size - block}, &*imageJ);
  return 0;
}
