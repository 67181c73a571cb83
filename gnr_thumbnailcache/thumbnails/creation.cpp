#include "gnr_thumbnailcache/platform_object.h"
#include "gnr_thumbnailcache/textinfo/extraction.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/embedded_thumbnail.h"
#include "gnr_thumbnailcache/thumbnails/file_identity.h"
#include "gnr_thumbnailcache/thumbnails/fit_into_box.h"
#include "gnr_thumbnailcache/thumbnails/render.h"
#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"
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

bool OpenPicture(const CQvStringW& path, IQvImageFormatManager* manager, CPictureSourceRef* source) {
  CCodecRef codec;
  return manager && manager->GetCodecForFile(path, codec.Out()) == kQvOk &&
         codec->OpenInputFile(path, source->Out()) == kQvOk;
}

bool ReadInformation(IQvPictureSource& source, STextInformation& info) {
  CMetadataReaderRef reader;
  return source.GetMetadataReader(reader.Out()) == kQvOk && FillTextInformation(*reader.Get(), info);
}

}  // namespace

std::int32_t RenderInto(IQvPictureSource& source, CThumbnailWork& work) {
  const std::uint32_t width = work.picture.width;
  const std::uint32_t height = work.picture.height;
  return source.RenderPicture(&width, &height, &work.picture, 1, work.flags == 0, 0, 0, 0xFFFFFFFFu);
}

bool CQvThumbnailCacheImpl::GiveFittedShape(CThumbnailWork& work, const SQvImageInfo& info) {
  const bool highQuality = m_highQuality;
  const SThumbnailBox box = highQuality ? m_highQualityBox : m_standardBox;
  const SFittedSize size = FitIntoBox(info.width, info.height, box.width, box.height);
  work.highQuality = highQuality;
  return work.GiveShape(size.width, size.height, 8);
}

bool CQvThumbnailCacheImpl::CreateThumbnail(CThumbnailWork& work, IQvImageFormatManager* manager,
                                            STextInformation& info) {
  if (SQvThumbnailDescription::IsFileLoc(work.location)) return CreateFromFile(work, manager, info);
  if (SQvThumbnailDescription::IsDBLoc(work.location)) return CreateFromDatabase(work);
  return false;
}

bool CQvThumbnailCacheImpl::CreateFromFile(CThumbnailWork& work, IQvImageFormatManager* manager,
                                           STextInformation& info) {
  work.knowsLastWritten = true;
  if (GetFileIdentity(work.location, &work.fileSize, &work.lastWritten) != kQvOk) {
    return DropAndFail(work, kQvThumbnailNone);
  }
  CPictureSourceRef source;
  if (!OpenPicture(SQvThumbnailDescription::ExtractFilePath(work.location), manager, &source)) {
    return DropAndFail(work, kQvThumbnailFailed);
  }
  if (!ReadInformation(*source.Get(), info) || info.image.width == 0 || info.image.height == 0) {
    return Fail(work, kQvThumbnailFailed);
  }
  info.fileSize = work.fileSize;
  if (!GiveFittedShape(work, info.image)) return DropAndFail(work, kQvThumbnailFailed);
  if (TakeEmbeddedThumbnail(*source.Get(), *manager, info.image, &work.picture) != EEmbeddedThumbnail::Taken) {
    const std::int32_t result = RenderInto(*source.Get(), work);
    if (result != kQvOk) {
      return DropAndFail(work, result == kQvUnsupported ? kQvThumbnailUnavailable : kQvThumbnailFailed);
    }
  }
  work.state = kQvThumbnailReady;
  return true;
}
