#include "python/src/file_failure.h"

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/session/image_format_manager.h"
#include "imageformats/iqvimageformatmanager.h"
#include "picture/qvpicture.h"
#include "system/qvstatus.h"

namespace qvpython {
namespace {

constexpr std::uint32_t kProbeOfKind = 16;

// Whether its pixels are of a sort that the codec cannot render, and are not broken.
bool HasUnsupportedPixels(IQvImageCodec& codec, const CQvStringW& location) {
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  CQvPicture picture;
  if (codec.OpenInputFile(location, source.Out()) != kQvOk || source->GetPictureInfo(&info) != kQvOk) return false;
  if (!picture.Reinit(kProbeOfKind, kProbeOfKind, 8, 3, false)) return false;
  return source->RenderPicture(&kProbeOfKind, &kProbeOfKind, picture.Get(), 1, true, 0, 0, 0xFFFFFFFFu) ==
         kQvUnsupported;
}

EFailure KindOf(const CQvStringW& location) {
  const auto manager = qvhost::CreateImageFormatManager();
  CQvRef<IQvImageCodec> codec;
  if (!manager || manager->GetCodecForFile(location, codec.Out()) != kQvOk) return EFailure::Unsupported;
  return HasUnsupportedPixels(*codec, location) ? EFailure::Unsupported : EFailure::Damaged;
}

}  // namespace

SFailure ExplainFile(const std::string& path, const CQvStringW& location) {
  std::string reason = qvhost::ExplainOpenFailure(qvhost::AbsolutePath(qvhost::PicturePath(path)));
  if (!reason.empty()) return {EFailure::Unreadable, std::move(reason)};
  return {KindOf(location), qvhost::CFailureReason().OfFile(location)};
}

}  // namespace qvpython
