#pragma once

#include <sqlite3.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "gnr_thumbnailcache/database/connection_owner.h"
#include "system/qvstring.h"

// The one connection to the cache database. Opened and closed by one thread while nobody uses it; in between any thread
// may use the handle, in SQLite's serialised mode.
class CConnection {
 public:
  CConnection() = default;
  CConnection(const CConnection&) = delete;
  CConnection& operator=(const CConnection&) = delete;
  ~CConnection() { Close(); }

  // Opens or creates the file and checks its five tables. 0; or -9, reported through the diagnostics, and closed. A
  // file that may only be read is opened when its tables are right; the statements that would write then fail.
  std::int32_t Open(const CQvStringA& path);
  // Also finalizes what operations left unfinalized: it would keep the file open.
  void Close() noexcept;

  bool IsOpen() const noexcept { return m_open; }
  // Null while closed.
  sqlite3* Get() const noexcept { return m_open ? m_db : nullptr; }

 private:
  CConnectionOwner OpenFile(const CQvStringA& path);

  sqlite3* m_db = nullptr;
  // m_db keeps its value when the connection is closed; this tells whether it may be used.
  std::atomic<bool> m_open{false};
  // Handles of opens that failed. They are closed with the next close.
  std::vector<sqlite3*> m_failed;
};
