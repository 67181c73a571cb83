#pragma once

#include <cstdint>

#include "gnr_thumbnailcache/thumbnails/thumbnail_work.h"
#include "imageformats/iqvimageformatmanager.h"

// Renders the overview for display into the work's picture at the picture's size, fast for standard quality. The
// source's status.
std::int32_t RenderInto(IQvPictureSource& source, CThumbnailWork& work);
