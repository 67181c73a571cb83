#include "host/files/image_experiment.h"

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/session/component.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

CMetadataReaderPtr OpenReader(const CQvStringW& path, std::string* reason) {
  const CComponentPtr<IQvImageFormatManager> manager = CreateImageFormatManager();
  if (!manager) {
    *reason = "the image formats are not installed";
    return nullptr;
  }
  IQvImageFile* opened = nullptr;
  if (manager->OpenImageFile(path, &opened) == kQvOk) {
    const CComponentPtr<IQvImageFile> file(opened);
    IQvMetadataReader* reader = nullptr;
    if (file->GetMetadataReader(path, &reader) == kQvOk) return CMetadataReaderPtr(reader);
  }
  *reason = CFailureReason::OrElse(manager->GetErrorText(), "not an image of a known format");
  return nullptr;
}

}  // namespace

bool SImageExperiment::Read(const std::string& path, std::string* reason) {
  *reason = ExplainOpen(path);
  if (!reason->empty()) return false;
  const CMetadataReaderPtr reader = OpenReader(CQvStringUtils::UTF8toW(path), reason);
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
