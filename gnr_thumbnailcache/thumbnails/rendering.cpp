#include "gnr_thumbnailcache/thumbnails/rendering.h"

#include "gnr_thumbnailcache/thumbnails/fit_into_box.h"

bool ReinitFitted(CThumbnailWork& work, const SQvImageInfo& info, const SThumbnailSettings& settings) {
  const bool highQuality = settings.highQuality;
  const SThumbnailBox box = settings.Box(highQuality);
  const SFittedSize size = FitIntoBox(info.width, info.height, box.width, box.height);
  work.highQuality = highQuality;
  return work.ReinitPicture(size.width, size.height, 8);
}

std::int32_t RenderInto(IQvPictureSource& source, CThumbnailWork& work) {
  constexpr std::uint32_t kOverview = 1;
  constexpr std::uint32_t kAllChannels = 0xFFFFFFFFu;
  const std::uint32_t width = work.picture.width;
  const std::uint32_t height = work.picture.height;
  return source.RenderPicture(&width, &height, &work.picture, kOverview, work.flags == 0, 0, 0, kAllChannels);
}
