#include "gnr_thumbnailcache/textinfo/extraction.h"

#include "gnr_thumbnailcache/base/format_manager.h"

namespace {

// Where a level's size is counted; null for loops that are not counted. A deeper level replaces the count of a higher
// one of its kind, except for channels: what the picture or a higher level said stays.
std::uint32_t* FindLoopCount(std::uint32_t loopType, SLoopCounts& loops) {
  switch (loopType) {
    case kQvLoopTime:
    case kQvLoopTimePhases:
    case kQvLoopTimeManual:
      return &loops.time;
    case kQvLoopZ:
    case kQvLoopZManual:
      return &loops.z;
    case kQvLoopXYPosition:
    case kQvLoopXYMosaic:
      return &loops.multipoint;
    case kQvLoopLambda:
      return loops.lambda == 0 ? &loops.lambda : nullptr;
    default:
      return nullptr;
  }
}

void CountLoops(const SQvExperiment* level, SLoopCounts& loops) {
  while (level) {
    if (std::uint32_t* count = FindLoopCount(level->loopType, loops)) *count = CQvExperimentAPI::GetLoopSize(level);
    level = level->subExperiments.empty() ? nullptr : level->subExperiments.front();
  }
}

void FillFromPictureMetadata(IQvMetadataReader& reader, STextInformation& info) {
  SQvPictureMetadata metadata;
  if (reader.GetPictureMetadata(0, &metadata, 0) != kQvOk) return;
  info.loops.lambda = metadata.GetPlaneCount();
  if (info.calibration == 0.0) info.calibration = metadata.calibration;
}

}  // namespace

bool FillTextInformation(IQvMetadataReader& reader, STextInformation& info) {
  info.image = SQvImageInfo();
  info.text = SQvImageTextInfo();
  info.loops = SLoopCounts();
  if (reader.GetImageInfo(&info.image) != kQvOk) return false;
  reader.GetTextInfo(&info.text);
  double aspect = 1.0;
  if (reader.GetCalibration(0, &info.calibration, &aspect, &info.objective) != kQvOk) info.calibration = 0.0;
  FillFromPictureMetadata(reader, info);
  if (reader.GetAcquisitionTime(&info.acqTime) != kQvOk) info.acqTime = 0.0;
  SQvExperiment experiment;
  if (reader.GetExperiment(&experiment, 0) == kQvOk) CountLoops(&experiment, info.loops);
  return true;
}

bool ExtractFileTextInfo(const CQvStringW& path, STextInformation& info) {
  CQvRef<IQvImageFile> file;
  {
    const CQvRef<IQvImageFormatManager> manager = CreateFormatManager();
    if (!manager || manager->OpenImageFile(path, file.Out()) != kQvOk) return false;
  }
  CQvRef<IQvMetadataReader> reader;
  const bool hasReader = file->GetMetadataReader(path, reader.Out()) == kQvOk;
  file->GetFileSize(path.c_str(), &info.fileSize);
  file.Reset();
  return hasReader && FillTextInformation(*reader, info);
}
