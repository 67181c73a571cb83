#include "gnr_thumbnailcache/thumbnails/creation.h"

#include "gnr_thumbnailcache/textinfo/extraction.h"
#include "gnr_thumbnailcache/thumbnails/database_source.h"
#include "gnr_thumbnailcache/thumbnails/embedded_thumbnail.h"
#include "gnr_thumbnailcache/thumbnails/file_identity.h"
#include "gnr_thumbnailcache/thumbnails/rendering.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace {

bool Fail(CThumbnailWork& work, std::uint32_t state) {
  work.state = state;
  return false;
}

bool DropAndFail(CThumbnailWork& work, std::uint32_t state) {
  work.DropPicture();
  return Fail(work, state);
}

bool OpenPicture(const CQvStringW& path, IQvImageFormatManager* manager, CQvRef<IQvPictureSource>* source) {
  CQvRef<IQvImageCodec> codec;
  return manager && manager->GetCodecForFile(path, codec.Out()) == kQvOk &&
         codec->OpenInputFile(path, source->Out()) == kQvOk;
}

bool ReadInformation(IQvPictureSource& source, STextInformation& info) {
  CQvRef<IQvMetadataReader> reader;
  return source.GetMetadataReader(reader.Out()) == kQvOk && FillTextInformation(*reader, info);
}

bool CreateFromFile(CThumbnailWork& work, const SThumbnailSettings& settings, IQvImageFormatManager* manager,
                    SReadFile& file) {
  work.knowsLastWritten = true;
  if (GetFileIdentity(work.location, &work.fileSize, &work.lastWritten) != kQvOk) {
    return DropAndFail(work, kQvThumbnailNone);
  }
  const CQvStringW path = SQvThumbnailDescription::ExtractFilePath(work.location);
  file.stamp = TakeFileStamp(path);
  file.reading = BeginFileReading(path);
  STextInformation& info = file.info;
  CQvRef<IQvPictureSource> source;
  if (!OpenPicture(path, manager, &source)) return DropAndFail(work, kQvThumbnailFailed);
  if (!ReadInformation(*source, info) || info.image.width == 0 || info.image.height == 0) {
    return Fail(work, kQvThumbnailFailed);
  }
  info.fileSize = work.fileSize;
  if (!ReinitFitted(work, info.image, settings)) return DropAndFail(work, kQvThumbnailFailed);
  if (!StretchEmbeddedThumbnail(*source, *manager, info.image, &work.picture)) {
    const std::int32_t result = RenderInto(*source, work);
    if (result != kQvOk) {
      return DropAndFail(work, result == kQvUnsupported ? kQvThumbnailUnavailable : kQvThumbnailFailed);
    }
  }
  work.state = kQvThumbnailReady;
  return true;
}

}  // namespace

bool CreateThumbnail(CThumbnailWork& work, const SThumbnailSettings& settings, IQvImageFormatManager* manager,
                     SReadFile& file) {
  if (SQvThumbnailDescription::IsFileLoc(work.location)) return CreateFromFile(work, settings, manager, file);
  if (SQvThumbnailDescription::IsDBLoc(work.location)) return CreateFromDatabase(work, settings);
  return false;
}
