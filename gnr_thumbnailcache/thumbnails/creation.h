#pragma once

#include "gnr_thumbnailcache/memory/thumbnail_work.h"
#include "gnr_thumbnailcache/textinfo/metadata_table.h"
#include "gnr_thumbnailcache/thumbnails/settings.h"
#include "imageformats/iqvimageformatmanager.h"

// Makes the thumbnail from its source, the file or the record that the location names, and leaves the work in the state
// that comes of it. True when it is ready; `file` then holds what a file said about itself. `manager` may be null.
bool CreateThumbnail(CThumbnailWork& work, const SThumbnailSettings& settings, IQvImageFormatManager* manager,
                     SReadFile& file);
