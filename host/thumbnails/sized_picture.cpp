#include "host/thumbnails/sized_picture.h"

#include <utility>

#include "host/files/failure_reason.h"
#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/library/memory_picture.h"
#include "host/output/fitted_size.h"
#include "host/session/image_format_manager.h"
#include "host/thumbnails/stored_thumbnail.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

constexpr std::uint32_t kOverviewMode = 1;
constexpr std::uint32_t kEveryChannel = 0xFFFFFFFFu;

CQvPicture Render(IQvPictureSource& source, const SFittedSize& size, bool highQuality, std::string* failure) {
  CQvPicture picture;
  if (!picture.Reinit(size.width, size.height, 8, 3, false)) {
    *failure = "out of memory";
  } else if (source.RenderPicture(&size.width, &size.height, picture.Get(), kOverviewMode, !highQuality, 0, 0,
                                  kEveryChannel) != kQvOk) {
    *failure = CFailureReason::OrElse(source.GetErrorText(), "its pixels are damaged");
    picture.Free();
  }
  return picture;
}

// No pixels when none is stored, or one that is smaller than wanted.
CQvPicture RenderStored(const std::string& path, const SFittedSize& size, bool highQuality,
                        const SDatabaseOptions& database) {
  std::string jpeg = ReadStoredThumbnail(path, highQuality, database);
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  if (jpeg.empty() || OpenMemoryPicture(std::move(jpeg), source.Out(), nullptr) != kQvOk ||
      source->GetPictureInfo(&info) != kQvOk || info.width < size.width || info.height < size.height) {
    return {};
  }
  std::string ignored;
  return Render(*source, size, highQuality, &ignored);
}

// False with the reason.
bool OpenPicture(const std::string& path, IQvImageFormatManager& manager, CQvRef<IQvPictureSource>* source,
                 SQvImageInfo* info, std::string* failure) {
  const CQvStringW location = CQvStringUtils::UTF8toW(path);
  CQvRef<IQvImageCodec> codec;
  if (manager.GetCodecForFile(location, codec.Out()) != kQvOk) {
    *failure = CFailureReason::OrElse(manager.GetErrorText(), "not an image of a known format");
  } else if (codec->OpenInputFile(location, source->Out()) != kQvOk) {
    *failure = CFailureReason::OrElse(manager.GetErrorText(), "damaged or unreadable");
  } else if ((*source)->GetPictureInfo(info) != kQvOk || info->width == 0 || info->height == 0) {
    *failure = CFailureReason::OrElse((*source)->GetErrorText(), "its geometry cannot be read");
  }
  return failure->empty();
}

}  // namespace

CQvPicture RenderSizedPicture(IQvImageFormatManager& manager, const std::string& path, std::uint32_t side,
                              bool highQuality, std::string* failure) {
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  if (!OpenPicture(path, manager, &source, &info, failure)) return {};
  return Render(*source, FitIntoSquare(info.width, info.height, side), highQuality, failure);
}

SSizedPicture MakeSizedPicture(const std::string& path, std::uint32_t side, bool highQuality,
                               const SDatabaseOptions& database) {
  SSizedPicture made;
  const std::string absolute = AbsolutePath(PicturePath(path));
  made.failure = ExplainOpenFailure(absolute);
  if (!made.failure.empty()) return made;
  const CQvRef<IQvImageFormatManager> manager = CreateImageFormatManager();
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  if (!manager) {
    made.failure = "the image formats are not installed";
  } else if (OpenPicture(absolute, *manager, &source, &info, &made.failure)) {
    const SFittedSize size = FitIntoSquare(info.width, info.height, side);
    made.picture = RenderStored(absolute, size, highQuality, database);
    made.fromCache = made.picture.HasPixels();
    if (!made.fromCache) made.picture = Render(*source, size, highQuality, &made.failure);
  }
  return made;
}

}  // namespace qvhost
