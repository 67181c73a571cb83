#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "metadata/qvpictureplanes.h"

// Whatever is accepted must be planes that can be stored again and hash alike.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CQvLiteVariantR reader;
  reader.Bytes().SetData(data, size, 0, 0);
  SQvPicturePlanes first, second;
  if (SQvPicturePlanes::LoadFromLiteVariant(first, reader) != 0) return 0;
  CQvLiteVariantW writer;
  CQvLiteVariantR again;
  if (SQvPicturePlanes::SaveToLiteVariant(writer, &first) != 0 || writer.Finalize(again, 0) != 0) std::abort();
  if (SQvPicturePlanes::LoadFromLiteVariant(second, again) != 0) std::abort();
  unsigned int firstHash = 0, secondHash = 0;
  first.GetHash(firstHash);
  second.GetHash(secondHash);
  if (firstHash != secondHash) std::abort();
  return 0;
}
