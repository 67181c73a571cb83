#include "gnr_thumbnailcache/thumbnails/embedded_thumbnail.h"

#include <cstring>

#include "gnr_thumbnailcache/base/messages.h"
#include "picture/qvpicture.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace {

bool StretchInto(SQvPicBuf* destination, const CQvPicture& source) {
  return CQvPicBufAPI_GeomTrans::Stretch(destination, &*source, CQvPicBufAPI_GeomTrans::kStretchArea) == kQvOk;
}

bool StretchJpeg(const CQvByteArray& stream, IQvImageFormatManager& manager, SQvPicBuf* picture) {
  CQvRef<IQvImageCodec> codec;
  CQvRef<IQvPictureSource> source;
  SQvImageInfo info;
  if (manager.GetCodecByName("JPG", codec.Out()) != kQvOk ||
      codec->OpenInputMemory(stream.GetData(0), stream.GetSize(), source.Out()) != kQvOk ||
      source->GetPictureInfo(&info) != kQvOk || info.bpcSignificant != 8 || info.components != 3) {
    return false;
  }
  CQvPicture embedded;
  return embedded.Reinit(info.width, info.height, 8, 3, false) && source->ReadPicture(embedded.Get(), 0, 0) == kQvOk &&
         StretchInto(picture, embedded);
}

bool StretchPixels(const CQvByteArray& pixels, const SQvImageInfo& info, SQvPicBuf* picture) {
  CQvPicture embedded;
  if (!embedded.Reinit(info.width, info.height, 8, 3, false) || pixels.GetSize() != embedded->dataSize) return false;
  std::memcpy(embedded.Get()->data, pixels.GetData(0), pixels.GetSize());
  if (!StretchInto(picture, embedded)) return false;
  // Stays allocated, as it stands: the original picture is kept for as long as the process runs.
  (void)embedded.Detach();
  return true;
}

}  // namespace

bool StretchEmbeddedThumbnail(IQvPictureSource& source, IQvImageFormatManager& manager, const SQvImageInfo& info,
                              SQvPicBuf* picture) {
  CQvByteArray bytes;
  if (source.GetCustomTag(messages::kJpegThumbnailTag, &bytes) == kQvOk) return StretchJpeg(bytes, manager, picture);
  if (source.GetCustomTag(messages::kPixelsThumbnailTag, &bytes) == kQvOk) return StretchPixels(bytes, info, picture);
  return false;
}
