// A PNG file from memory. Its checksums are made right first: random bytes would hardly ever get past them.

#include <libdeflate.h>

#include <cstring>
#include <vector>

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/png/png_codec.h"

namespace {

void RepairChecksums(std::vector<std::uint8_t>& bytes) {
  for (std::size_t at = 8; at + 12 <= bytes.size();) {
    const std::uint8_t* p = bytes.data() + at;
    const std::size_t length = static_cast<std::size_t>(p[0]) << 24 | static_cast<std::size_t>(p[1]) << 16 |
                               static_cast<std::size_t>(p[2]) << 8 | p[3];
    if (length > bytes.size() - at - 12) return;
    const std::uint32_t crc = libdeflate_crc32(0, p + 4, length + 4);
    for (std::size_t i = 0; i < 4; ++i) {
      bytes[at + 8 + length + i] = static_cast<std::uint8_t>(crc >> (24 - 8 * i));
    }
    at += 12 + length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::vector<std::uint8_t> bytes(data, data + size);
  if (bytes.empty()) return 0;
  imageformats::Exercise(imageformats::PngCodec(), bytes.data(), bytes.size());
  RepairChecksums(bytes);
  imageformats::Exercise(imageformats::PngCodec(), bytes.data(), bytes.size());
  return 0;
}
