#include "gnr_thumbnailcache/diagnostics.h"
#include "gnr_thumbnailcache/fp_exceptions.h"
#include "gnr_thumbnailcache/guarded.h"
#include "gnr_thumbnailcache/schema.h"
#include "gnr_thumbnailcache/shared_folder.h"
#include "gnr_thumbnailcache/thumbnailcache_impl.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

// How long a statement waits for another process that writes the same file.
constexpr int kBusyTimeoutMs = 5000;

std::int32_t CheckTables(sqlite3* db) {
  for (const auto check :
       {CheckCacheTable, CheckMetadataTable, CheckExperimentsTable, CheckHistoryTable, CheckStoredTable}) {
    if (const std::int32_t status = check(db)) return status;
  }
  return kQvOk;
}

// Statements that operations left unfinalized would keep the connection open.
void CloseWithStatements(sqlite3* db) noexcept {
  while (sqlite3_stmt* statement = sqlite3_next_stmt(db, nullptr)) sqlite3_finalize(statement);
  sqlite3_close(db);
}

}  // namespace

std::wstring CQvThumbnailCacheImpl::ChooseDatabasePath(const wchar_t* path) {
  if (path && *path) return path;
  return GetSharedDocumentsFolder() + L"OrbThumbCache.db";
}

sqlite3* CQvThumbnailCacheImpl::OpenConnection(const CQvStringA& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    ReportSqlError(__LINE__, L"THUMBCACHE: ", db);
    m_failedConnections.push_back(db);
    return nullptr;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  // SQLite opens a file that may not be written for reading only; a cache that cannot store is no cache.
  if (sqlite3_db_readonly(db, "main") == 1) {
    ReportText(__LINE__, L"THUMBCACHE: " + CQvStringUtils::UTF8toW(sqlite3_errstr(SQLITE_READONLY)).Str());
    sqlite3_close(db);
    return nullptr;
  }
  return db;
}

void CQvThumbnailCacheImpl::SetDefaults() noexcept {
  m_highQuality = false;
  m_highQualityBox = SThumbnailBox{640, 240};
  m_standardBox = SThumbnailBox{480, 180};
  m_cacheLimit = QV_Is64Bit() ? 1000 : 600;
  const CQvLockGuard lock(m_mutex);
  m_useCounter = 0;
}

std::int32_t CQvThumbnailCacheImpl::OpenDatabase(const wchar_t* path) {
  return Guarded(kQvFailure, [&] {
    // Opened twice: the first database's workers and connection must not be lost.
    if (m_open) CloseDatabase();
    MaskFloatingPointExceptions();
    const CQvStringA file = CQvStringUtils::WtoUTF8(ChooseDatabasePath(path));
    m_workCond.Init();
    m_mutex.Init();
    sqlite3* db = OpenConnection(file);
    if (!db) return kQvFailure;
    if (const std::int32_t status = CheckTables(db)) return status;
    m_db = db;
    m_open = true;
    SetDefaults();
    if (!m_dbWriteMutex.IsInitialised()) m_dbWriteMutex.Init();
    if (!m_queueMutex.IsInitialised()) m_queueMutex.Init();
    StartWorkers();
    return kQvOk;
  });
}

void CQvThumbnailCacheImpl::CloseConnections() noexcept {
  if (m_open) CloseWithStatements(m_db);
  m_open = false;
  for (sqlite3* db : m_failedConnections) sqlite3_close(db);
  m_failedConnections.clear();
}

std::int32_t CQvThumbnailCacheImpl::CloseDatabase() {
  StopWorkers();
  PurgeUnusedThumbnails();
  CloseConnections();
  m_workCond.Destroy();
  m_mutex.Destroy();
  m_dbWriteMutex.Destroy();
  m_queueMutex.Destroy();
  return kQvOk;
}
