#include "host/files/image_experiment.h"

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/session/image_format_manager.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

CQvRef<IQvMetadataReader> OpenReader(const CQvStringW& path, std::string* reason) {
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  if (!manager) {
    *reason = "the image formats are not installed";
    return {};
  }
  CQvRef<IQvImageFile> file;
  CQvRef<IQvMetadataReader> reader;
  if (manager->OpenImageFile(path, file.Out()) == kQvOk && file->GetMetadataReader(path, reader.Out()) == kQvOk) {
    return reader;
  }
  *reason = CFailureReason::OrElse(manager->GetErrorText(), "not an image of a known format");
  return {};
}

}  // namespace

bool SImageExperiment::Read(const std::string& path, std::string* reason) {
  *reason = ExplainOpenFailure(path);
  if (!reason->empty()) return false;
  const CQvRef<IQvMetadataReader> reader = OpenReader(CQvStringUtils::UTF8toW(path), reason);
  if (!reader) return false;
  SQvExperiment* level = nullptr;
  SQvExperiment::Alloc(&level);
  experiment.reset(level);
  if (!level || reader->GetExperiment(level, 0) != kQvOk) experiment.reset();
  SQvPictureMetadata metadata;
  if (reader->GetPictureMetadata(0, &metadata, 0) == kQvOk) planes = std::move(metadata.planes);
  if (reader->GetAcquisitionTime(&acquisitionTime) != kQvOk) acquisitionTime = 0.0;
  return true;
}

}  // namespace qvhost
