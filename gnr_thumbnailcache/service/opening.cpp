#include <system_error>

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/base/floating_point.h"
#include "gnr_thumbnailcache/base/guarded.h"
#include "gnr_thumbnailcache/base/shared_folder.h"
#include "gnr_thumbnailcache/service/thumbnailcache_impl.h"
#include "gnr_thumbnailcache/thumbnails/making_thread.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

std::wstring SharedDatabasePath() { return GetSharedDocumentsFolder() + L"OrbThumbCache.db"; }

// Opening and closing wait for the workers, so what a worker or a request calls can do neither.
bool RefuseWhileMaking(const wchar_t* operation) {
  if (!CMakingThread::IsHere()) return false;
  ReportText(__LINE__, L"THUMBCACHE: " + std::wstring(operation) + L" was called from inside a listener, and refused");
  return true;
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

// Without a worker no request would ever end.
std::int32_t CQvThumbnailCacheImpl::StartWorkers() noexcept {
  const int result = m_workers.StartWorkers();
  if (m_workers.AreRunning()) return kQvOk;
  CloseDatabase();
  return Guarded(kQvFailure, [&] {
    const std::string reason = std::generic_category().message(result);
    ReportText(__LINE__, L"THUMBCACHE: no worker could be started: " + CQvStringUtils::UTF8toW(reason).Str());
    return kQvFailure;
  });
}

std::int32_t CQvThumbnailCacheImpl::OpenDatabase(const wchar_t* path) {
  return Guarded(kQvFailure, [&] {
    if (RefuseWhileMaking(L"OpenDatabase")) return kQvFailure;
    // Opened twice: the first database's workers and connection must not be lost.
    if (m_connection.IsOpen()) CloseDatabase();
    MaskFloatingPointExceptions();
    const bool isShared = !path || !*path;
    const std::wstring file = isShared ? SharedDatabasePath() : std::wstring(path);
    m_cache.InitServiceMutex();
    if (const std::int32_t status = m_connection.Open(CQvStringUtils::WtoUTF8(file.c_str()))) return status;
    if (isShared) ShareWithGroup(file);
    SetDefaults();
    m_resolver.InitWriteMutex();
    m_cache.InitQueueMutex();
    return StartWorkers();
  });
}

std::int32_t CQvThumbnailCacheImpl::CloseDatabase() {
  if (Guarded(true, [] { return RefuseWhileMaking(L"CloseDatabase"); })) return kQvFailure;
  m_workers.StopWorkers();
  PurgeUnusedThumbnails();
  m_cache.ForgetOwners();
  m_connection.Close();
  m_cache.DestroyLocks();
  m_resolver.DestroyWriteMutex();
  return kQvOk;
}
