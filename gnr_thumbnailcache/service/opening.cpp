#include "gnr_thumbnailcache/base/floating_point.h"
#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/base/shared_folder.h"
#include "gnr_thumbnailcache/service/thumbnailcache_impl.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

std::wstring ChooseDatabasePath(const wchar_t* path) {
  if (path && *path) return path;
  return GetSharedDocumentsFolder() + L"OrbThumbCache.db";
}

}  // namespace

// Workers of a database that nobody closed would outlive the service.
CQvThumbnailCacheImpl::~CQvThumbnailCacheImpl() {
  if (m_connection.IsOpen()) CloseDatabase();
}

void CQvThumbnailCacheImpl::SetDefaults() noexcept {
  m_settings.highQuality = false;
  m_settings.highQualityBox = SThumbnailBox{640, 240};
  m_settings.standardBox = SThumbnailBox{480, 180};
  m_cache.SetLimit(QV_Is64Bit() ? 1000 : 600);
  m_cache.ResetUseCounter();
}

std::int32_t CQvThumbnailCacheImpl::OpenDatabase(const wchar_t* path) {
  return Guarded(kQvFailure, [&] {
    // Opened twice: the first database's workers and connection must not be lost.
    if (m_connection.IsOpen()) CloseDatabase();
    MaskFloatingPointExceptions();
    const CQvStringA file = CQvStringUtils::WtoUTF8(ChooseDatabasePath(path));
    m_cache.InitServiceMutex();
    if (const std::int32_t status = m_connection.Open(file)) return status;
    SetDefaults();
    m_resolver.InitWriteMutex();
    m_cache.InitQueueMutex();
    m_workers.StartWorkers();
    return kQvOk;
  });
}

std::int32_t CQvThumbnailCacheImpl::CloseDatabase() {
  m_workers.StopWorkers();
  PurgeUnusedThumbnails();
  m_connection.Close();
  m_cache.DestroyLocks();
  m_resolver.DestroyWriteMutex();
  return kQvOk;
}
