#include "gnr_thumbnailcache/database/schema_guard.h"

#include <sqlite3.h>

CSchemaGuard::CSchemaGuard(sqlite3* db) noexcept : m_db(db) { sqlite3_set_authorizer(db, Authorise, this); }

CSchemaGuard::~CSchemaGuard() { sqlite3_set_authorizer(m_db, nullptr, nullptr); }

int CSchemaGuard::Authorise(void* guard, int, const char*, const char*, const char*, const char*) noexcept {
  return static_cast<CSchemaGuard*>(guard)->m_armed ? SQLITE_DENY : SQLITE_OK;
}
