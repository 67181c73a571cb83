#pragma once

#include "gnr_thumbnailcache/base/locking.h"
#include "gnr_thumbnailcache/memory/thumbnail_work.h"
#include "gnr_thumbnailcache/thumbnails/settings.h"
#include "imageformats/iqvimageformatmanager.h"

struct sqlite3;

// Rows of the cache table. Null instead of a connection means that no database is open; `manager` may be null.

// Fills the work from its row: true when it is ready. Without a row its state is stale while it has a picture, else
// none; with a row that cannot be decoded, or whose picture is far larger than the box of its quality, it is failed.
bool ReadThumbnailFromDatabase(sqlite3* db, CThumbnailWork& work, const SThumbnailSettings& settings,
                               IQvImageFormatManager* manager);
// Replaces the work's row by its picture as JPEG. Failures are reported only. `dbWriteMutex` is held while the writer
// is obtained.
void SaveThumbnailToDatabase(sqlite3* db, const CThumbnailWork& work, IQvImageFormatManager* manager,
                             CMutex& dbWriteMutex);
