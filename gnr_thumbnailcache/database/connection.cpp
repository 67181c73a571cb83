#include "gnr_thumbnailcache/database/connection.h"

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/schema.h"
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

void CloseWithStatements(sqlite3* db) noexcept {
  while (sqlite3_stmt* statement = sqlite3_next_stmt(db, nullptr)) sqlite3_finalize(statement);
  sqlite3_close(db);
}

}  // namespace

sqlite3* CConnection::OpenFile(const CQvStringA& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    ReportSqlError({L"THUMBCACHE: ", __LINE__}, db);
    m_failed.push_back(db);
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

std::int32_t CConnection::Open(const CQvStringA& path) {
  sqlite3* db = OpenFile(path);
  if (!db) return kQvFailure;
  if (const std::int32_t status = CheckTables(db)) return status;
  m_db = db;
  m_open = true;
  return kQvOk;
}

void CConnection::Close() noexcept {
  if (m_open) CloseWithStatements(m_db);
  m_open = false;
  for (sqlite3* db : m_failed) sqlite3_close(db);
  m_failed.clear();
}
