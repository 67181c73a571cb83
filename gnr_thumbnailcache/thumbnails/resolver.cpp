#include "gnr_thumbnailcache/thumbnails/resolver.h"

#include "gnr_thumbnailcache/base/format_manager.h"
#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/textinfo/changed_file.h"
#include "gnr_thumbnailcache/textinfo/metadata_table.h"
#include "gnr_thumbnailcache/thumbnails/creation.h"
#include "gnr_thumbnailcache/thumbnails/making_thread.h"
#include "gnr_thumbnailcache/thumbnails/records.h"

namespace {

// Unlike any path, which names the row of the text information.
std::wstring NameOfRow(const SThumbnailFields& thumbnail) {
  return thumbnail.location + L'\0' + std::to_wstring(thumbnail.flags);
}

}  // namespace

void CThumbnailResolver::InitWriteMutex() noexcept {
  if (!m_dbWriteMutex.IsInitialised()) m_dbWriteMutex.Init();
}

// A stale picture is made anew whatever the database has.
void CThumbnailResolver::Resolve(CThumbnailWork& work, IQvImageFormatManager* manager) noexcept {
  if (!work.IsComplete()) return;
  const bool ended = Guarded(false, [&] {
    const bool stale = work.state == kQvThumbnailStale;
    if (stale || !ReadStored(work, manager)) CreateAndSave(work, manager);
    return true;
  });
  if (!ended) work.Fail();
}

bool CThumbnailResolver::ReadStored(CThumbnailWork& work, IQvImageFormatManager* manager) {
  if (!ReadThumbnailFromDatabase(m_connection.Get(), work, m_settings, manager)) return false;
  if (!IsOutdated(work)) return true;
  work.Fail();
  return false;
}

// Whether the file is known to be another than the row's, although no viewer can tell: viewers notice a new last-write
// time by themselves. A row of a file that cannot be found is shown.
bool CThumbnailResolver::IsOutdated(const CThumbnailWork& work) {
  if (!SQvThumbnailDescription::IsFileLoc(work.location)) return false;
  const CQvStringW path = SQvThumbnailDescription::ExtractFilePath(work.location);
  if (m_youngFiles.IsOutdated(NameOfRow(work), path)) return true;
  sqlite3* db = m_connection.Get();
  if (!HasAnotherSizeThanStored(db, path)) return false;
  ForgetStoredThumbnails(db, path);
  return true;
}

void CThumbnailResolver::CreateAndSave(CThumbnailWork& work, IQvImageFormatManager* manager) {
  SReadFile file;
  if (!CreateThumbnail(work, m_settings, manager, file) || SQvThumbnailDescription::IsDBLoc(work.location)) return;
  sqlite3* db = m_connection.Get();
  if (!db || !file.reading.IsWorthStoring()) return;
  const CQvStringW path = SQvThumbnailDescription::ExtractFilePath(work.location);
  SaveThumbnailToDatabase(db, work, manager, m_dbWriteMutex);
  SaveFileTextInfoToDatabase(db, path, file.stamp, file.info);
  m_youngFiles.Remember(NameOfRow(work), file.reading);
  m_youngFiles.Remember(path.Str(), file.reading);
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
