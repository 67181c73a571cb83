#pragma once

#include "gnr_thumbnailcache/memory/thumbnail_work.h"
#include "gnr_thumbnailcache/thumbnails/settings.h"

// Makes the thumbnail of a record of the owner's database. False with the state unchanged without an owner, a record or
// a field; with the state failed when the picture cannot be rendered.
bool CreateFromDatabase(CThumbnailWork& work, const SThumbnailSettings& settings);
