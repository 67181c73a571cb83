#include "host/files/image_experiment.h"

#include "host/files/image_file.h"
#include "host/files/picture_scale.h"
#include "system/qvstatus.h"

namespace qvhost {
bool SImageExperiment::Read(const std::string& path, std::string* reason) {
  *reason = ExplainOpenFailure(path);
  if (!reason->empty()) return false;
  const CQvRef<IQvMetadataReader> reader = OpenMetadata(CQvStringUtils::UTF8toW(path), reason);
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
