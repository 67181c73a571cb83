#include "gnr_thumbnailcache/thumbnails/resolver.h"

#include "gnr_thumbnailcache/base/format_manager.h"
#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/textinfo/metadata_table.h"
#include "gnr_thumbnailcache/thumbnails/creation.h"
#include "gnr_thumbnailcache/thumbnails/making_thread.h"
#include "gnr_thumbnailcache/thumbnails/records.h"

void CThumbnailResolver::InitWriteMutex() noexcept {
  if (!m_dbWriteMutex.IsInitialised()) m_dbWriteMutex.Init();
}

// A stale picture is made anew whatever the database has.
void CThumbnailResolver::Resolve(CThumbnailWork& work, IQvImageFormatManager* manager) noexcept {
  if (!work.IsComplete()) return;
  const bool ended = Guarded(false, [&] {
    const bool stale = work.state == kQvThumbnailStale;
    if (stale || !ReadThumbnailFromDatabase(m_connection.Get(), work, m_settings, manager)) {
      CreateAndSave(work, manager);
    }
    return true;
  });
  if (!ended) work.Fail();
}

void CThumbnailResolver::CreateAndSave(CThumbnailWork& work, IQvImageFormatManager* manager) {
  STextInformation info;
  if (!CreateThumbnail(work, m_settings, manager, info) || SQvThumbnailDescription::IsDBLoc(work.location)) return;
  sqlite3* db = m_connection.Get();
  SaveThumbnailToDatabase(db, work, manager, m_dbWriteMutex);
  SaveFileTextInfoToDatabase(db, SQvThumbnailDescription::ExtractFilePath(work.location), info);
}

void ResolveNow(const SQvThumbnailDescription* descs, std::uint32_t count, CThumbnailCache& cache,
                CThumbnailResolver& resolver) {
  const CMakingThread making;
  const CQvRef<IQvImageFormatManager> manager = CreateFormatManager();
  for (std::uint32_t i = 0; i < count; ++i) {
    CThumbnailWork work(cache.PictureCount());
    // Memory that is out for one is no reason to leave out the others.
    if (!Guarded(false, [&] { return cache.TakeNow(descs[i], &work); })) continue;
    resolver.Resolve(work, manager.Get());
    cache.Publish(work, CThumbnailCache::EPublish::Picture);
  }
}
