// A whole picture: the bytes as an archive, and the bytes as the files of one, so that damage is not only found by the
// archive's checksums. A file's record: which name, two bytes of length, its content.

#include <algorithm>
#include <array>

#include "fuzz/imageformats/exercise.h"
#include "platform/imageformats/zarr/zarr_codec.h"
#include "tests/support/zarr_writer.h"

namespace {

constexpr std::array kNames = {"zarr.json",     ".zattrs",     "0/.zarray", "0/zarr.json", "0/0.0",   "0/0/0",
                               "0/c/0/0",       "0/0.0.0",     "1/.zarray", "1/zarr.json", "1/0.0",   "A/1/.zattrs",
                               "A/1/0/.zattrs", "OME/.zattrs", "0/.zattrs", "A/zarr.json", "0/c/0.0", "0/c/0/1"};

qvtest::CZarrFiles FilesIn(const std::uint8_t* data, std::size_t size) {
  constexpr std::size_t kHeader = 3;
  qvtest::CZarrFiles files;
  while (size >= kHeader) {
    const std::size_t length = std::min<std::size_t>(data[1] | data[2] << 8, size - kHeader);
    files.Add(kNames[data[0] % kNames.size()], {data + kHeader, data + kHeader + length});
    data += kHeader + length;
    size -= kHeader + length;
  }
  return files;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  imageformats::Exercise(imageformats::ZarrCodec(), data, size);
  const qvtest::SFileBytes archive = FilesIn(data, size).Zip(qvtest::CZarrFiles::EZip::kStored);
  imageformats::Exercise(imageformats::ZarrCodec(), archive.data(), archive.size());
  return 0;
}
