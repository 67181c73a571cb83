#pragma once

#include "gnr_thumbnailcache/base/locking.h"
#include "gnr_thumbnailcache/database/connection.h"
#include "gnr_thumbnailcache/memory/thumbnail_cache.h"
#include "gnr_thumbnailcache/textinfo/young_files.h"
#include "gnr_thumbnailcache/thumbnails/settings.h"
#include "imageformats/iqvimageformatmanager.h"

// Finds out what a thumbnail is: from its row, else from its source, whose result is then saved. Any thread.
class CThumbnailResolver {
 public:
  CThumbnailResolver(const CConnection& connection, const SThumbnailSettings& settings,
                     CYoungFiles& youngFiles) noexcept
      : m_connection(connection), m_settings(settings), m_youngFiles(youngFiles) {}

  // The database-write mutex, whose life follows the database's.
  void InitWriteMutex() noexcept;
  void DestroyWriteMutex() noexcept { m_dbWriteMutex.Destroy(); }

  // Leaves the work in the state that came of it; whatever is thrown becomes failed. `manager` is the calling thread's
  // and may be null.
  void Resolve(CThumbnailWork& work, IQvImageFormatManager* manager) noexcept;

 private:
  bool ReadStored(CThumbnailWork& work, IQvImageFormatManager* manager);
  bool IsOutdated(const CThumbnailWork& work);
  void CreateAndSave(CThumbnailWork& work, IQvImageFormatManager* manager);

  const CConnection& m_connection;
  const SThumbnailSettings& m_settings;
  CYoungFiles& m_youngFiles;
  CMutex m_dbWriteMutex;  // around obtaining the JPEG output codec; taken alone
};

// Resolves requests on the calling thread, one after the other.
void ResolveNow(const SQvThumbnailDescription* descs, std::uint32_t count, CThumbnailCache& cache,
                CThumbnailResolver& resolver);
