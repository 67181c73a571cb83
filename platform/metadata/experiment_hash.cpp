#include <zlib.h>

#include "metadata/qvexperiment.h"
#include "platform/metadata/serialized_crc.h"

// A writer refuses more than a GiB, so that the size fits what zlib counts in.
bool ContinueCrc(CQvLiteVariantW& writer, std::uint32_t* crc) {
  CQvLiteVariantR reader;
  if (writer.Finalize(reader, 0) != 0) return false;
  const CQvByteArray& bytes = static_cast<const CQvLiteVariantR&>(reader).Bytes();
  *crc = static_cast<std::uint32_t>(crc32(*crc, bytes.GetData(0), static_cast<uInt>(bytes.GetSize())));
  return true;
}

std::uint32_t CQvExperimentAPI::GetExperimentHash(const SQvExperiment* experiment) {
  CQvLiteVariantW writer;
  std::uint32_t crc = 0;
  if (SQvExperiment::SaveToLiteVariant(writer, experiment) != 0 || !ContinueCrc(writer, &crc)) return 0;
  return crc;
}
