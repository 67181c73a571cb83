#pragma once

#include <sqlite3.h>

// Holds the connection's own mutex, so that a call and the reading of what it left in the connection (error text, last
// row id) belong together although other threads use the connection. Recursive. Null is allowed.
class CConnectionLock {
 public:
  explicit CConnectionLock(sqlite3* db) noexcept : m_mutex(db ? sqlite3_db_mutex(db) : nullptr) {
    sqlite3_mutex_enter(m_mutex);
  }
  CConnectionLock(const CConnectionLock&) = delete;
  CConnectionLock& operator=(const CConnectionLock&) = delete;
  ~CConnectionLock() { sqlite3_mutex_leave(m_mutex); }

 private:
  sqlite3_mutex* m_mutex;
};
