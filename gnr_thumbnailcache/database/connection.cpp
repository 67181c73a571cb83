#include "gnr_thumbnailcache/database/connection.h"

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/resting_log.h"
#include "gnr_thumbnailcache/database/schema.h"
#include "system/qvstatus.h"

namespace {

// How long a statement waits for another process that writes the same file.
constexpr int kBusyTimeoutMs = 5000;

// Of texts, blobs and whole rows, in bytes. What the service writes is far smaller.
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

std::string MakeUnchangingUri(const std::string& path) {
  std::string uri = "file:";
  for (const char c : path) {
    if (c == '%' || c == '?' || c == '#') {
      uri += c == '%' ? "%25" : c == '?' ? "%3f" : "%23";
    } else {
      uri += c;
    }
  }
  return uri + "?immutable=1";
}

// A connection that can read the file, in place of one that cannot; else the one given.
CConnectionOwner ReopenUnchanging(CConnectionOwner db) {
  const char* path = sqlite3_db_filename(db.get(), "main");
  if (!path || !HasRestingLogNobodyCanWrite(path)) return db;
  sqlite3* opened = nullptr;
  const int result =
      sqlite3_open_v2(MakeUnchangingUri(path).c_str(), &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
  CConnectionOwner unchanging(opened);
  return result == SQLITE_OK ? std::move(unchanging) : std::move(db);
}

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

CConnectionOwner CConnection::OpenFile(const CQvStringA& path) {
  sqlite3* opened = nullptr;
  if (sqlite3_open_v2(path.c_str(), &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    ReportSqlError({L"THUMBCACHE: ", __LINE__}, opened);
    m_failed.push_back(opened);
    return nullptr;
  }
  CConnectionOwner db(opened);
  if (!IsSerialised(db.get())) {
    ReportText(__LINE__,
               L"THUMBCACHE: SQLite does not protect a connection that several threads use: it was built or "
               L"configured without its serialised mode");
    return nullptr;
  }
  db = ReopenUnchanging(std::move(db));
  sqlite3_busy_timeout(db.get(), kBusyTimeoutMs);
  Distrust(db.get());
  return db;
}

std::int32_t CConnection::Open(const CQvStringA& path) {
  CConnectionOwner db = OpenFile(path);
  if (!db) return kQvFailure;
  if (const std::int32_t status = CheckTables(db.get())) {
    (void)db.release();  // the check has closed it
    return status;
  }
  m_db = db.release();
  m_open = true;
  return kQvOk;
}

void CConnection::Close() noexcept {
  if (m_open) CloseWithStatements(m_db);
  m_open = false;
  for (sqlite3* db : m_failed) sqlite3_close(db);
  m_failed.clear();
}
