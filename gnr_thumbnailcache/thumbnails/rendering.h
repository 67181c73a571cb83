#pragma once

#include <cstdint>

#include "gnr_thumbnailcache/memory/thumbnail_work.h"
#include "gnr_thumbnailcache/thumbnails/settings.h"
#include "imageformats/iqvimageformatmanager.h"

// Gives the work a picture of the largest size that the source's shape has in the wanted box, and notes the quality.
// The source's sides must not be 0. False when there is no memory.
bool ReinitFitted(CThumbnailWork& work, const SQvImageInfo& info, const SThumbnailSettings& settings);

// Renders the overview for display into the work's picture at the picture's size, fast for standard quality. The
// source's status.
std::int32_t RenderInto(IQvPictureSource& source, CThumbnailWork& work);
