#include "host/files/picture_scale.h"

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/session/image_format_manager.h"
#include "system/qvstatus.h"

namespace qvhost {

CQvRef<IQvMetadataReader> OpenMetadata(const CQvStringW& path, std::string* reason) {
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

SPictureScale ScaleOf(IQvMetadataReader& reader) {
  SPictureScale scale;
  SQvImageInfo info;
  if (reader.GetImageInfo(&info) == kQvOk) scale.width = info.width;
  if (reader.GetCalibration(0, &scale.micrometresPerPixel, &scale.aspect, nullptr) != kQvOk) {
    scale.micrometresPerPixel = 0.0;
    scale.aspect = 1.0;
  }
  return scale;
}

SPictureScale ReadFileScale(const std::string& path) {
  std::string reason;
  const CQvRef<IQvMetadataReader> reader = OpenMetadata(CQvStringUtils::UTF8toW(AbsolutePath(path)), &reason);
  return reader ? ScaleOf(*reader) : SPictureScale();
}

}  // namespace qvhost
