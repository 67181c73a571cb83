#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "metadata/qvexperiment.h"

// Whatever is accepted must be a tree that can be stored again and reads back equal.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  CQvLiteVariantR reader;
  reader.Bytes().SetData(data, size, 0, 0);
  SQvExperiment first, second;
  if (SQvExperiment::LoadFromLiteVariant(&first, reader) != 0) return 0;
  CQvLiteVariantW writer;
  CQvLiteVariantR again;
  if (SQvExperiment::SaveToLiteVariant(writer, &first) != 0 || writer.Finalize(again, 0) != 0) std::abort();
  if (SQvExperiment::LoadFromLiteVariant(&second, again) != 0) std::abort();
  if (!SQvExperiment::IsEqual(&first, &second, true, true)) std::abort();
  if (CQvExperimentAPI::GetExperimentHash(&first) != CQvExperimentAPI::GetExperimentHash(&second)) std::abort();
  return 0;
}
