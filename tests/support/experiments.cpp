#include "tests/support/experiments.h"

#include "tests/support/file_bytes.h"

namespace qvtest {
namespace {

std::vector<std::uint8_t> Finish(CQvLiteVariantW& writer, std::int32_t status) {
  CQvLiteVariantR reader;
  if (status != 0 || writer.Finalize(reader, 0) != 0) return {};
  return BytesOf(reader.Bytes());
}

CQvLiteVariantR MakeReader(const std::vector<std::uint8_t>& bytes) {
  CQvLiteVariantR reader;
  reader.Bytes().SetData(bytes.data(), bytes.size(), 0, 0);
  return reader;
}

}  // namespace

CExperiment NewExperiment(std::uint32_t loopType, std::uint32_t loopSize, double step) {
  SQvExperiment* experiment = nullptr;
  SQvExperiment::Alloc(&experiment);
  experiment->loopType = loopType;
  experiment->loopSize = loopSize;
  experiment->step = step;
  return CExperiment(experiment);
}

std::vector<std::uint8_t> Serialize(const SQvExperiment* experiment) {
  CQvLiteVariantW writer;
  const std::int32_t status = SQvExperiment::SaveToLiteVariant(writer, experiment);
  return Finish(writer, status);
}

std::vector<std::uint8_t> Serialize(const SQvPicturePlanes& planes) {
  CQvLiteVariantW writer;
  const std::int32_t status = SQvPicturePlanes::SaveToLiteVariant(writer, &planes);
  return Finish(writer, status);
}

std::int32_t Deserialize(const std::vector<std::uint8_t>& bytes, SQvExperiment* result) {
  CQvLiteVariantR reader = MakeReader(bytes);
  return SQvExperiment::LoadFromLiteVariant(result, reader);
}

std::int32_t Deserialize(const std::vector<std::uint8_t>& bytes, SQvPicturePlanes* result) {
  CQvLiteVariantR reader = MakeReader(bytes);
  return SQvPicturePlanes::LoadFromLiteVariant(*result, reader);
}

}  // namespace qvtest
