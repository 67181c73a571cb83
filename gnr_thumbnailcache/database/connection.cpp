#include "gnr_thumbnailcache/database/connection.h"

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/schema.h"
#include "system/qvstatus.h"

namespace {

// How long a statement waits for another process that writes the same file.
constexpr int kBusyTimeoutMs = 5000;

// Texts and blobs of a row, and rows as a whole. The largest that is written is a picture of some hundred kilobytes.
constexpr int kLongestValue = 64 << 20;

// A file may come from anybody. Its tables are read and written; nothing else in it is run.
void Distrust(sqlite3* db) noexcept {
  for (const int option :
       {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW, SQLITE_DBCONFIG_TRUSTED_SCHEMA}) {
    sqlite3_db_config(db, option, 0, nullptr);
  }
  sqlite3_db_config(db, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_drop_modules(db, nullptr);
  sqlite3_limit(db, SQLITE_LIMIT_LENGTH, kLongestValue);
}

// Callers and workers share the connection, which only SQLite's serialised mode protects.
bool IsSerialised(sqlite3* db) noexcept { return sqlite3_threadsafe() != 0 && sqlite3_db_mutex(db) != nullptr; }

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
  if (!IsSerialised(db)) {
    ReportText(__LINE__,
               L"THUMBCACHE: SQLite does not protect a connection that several threads use: it was built or "
               L"configured without its serialised mode");
    sqlite3_close(db);
    return nullptr;
  }
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  Distrust(db);
  return db;
}

std::int32_t CConnection::Open(const CQvStringA& path) {
  sqlite3* db = OpenFile(path);
  if (!db) return kQvFailure;
  try {
    if (const std::int32_t status = CheckTables(db)) return status;
  } catch (...) {
    sqlite3_close(db);
    throw;
  }
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
