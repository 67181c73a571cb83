#pragma once

#include <sqlite3.h>

#include <cstring>
#include <mutex>
#include <string_view>
#include <utility>

// SQLite waits for the disk at every row that the service writes. A thumbnail can be made again, so for its sake that
// is time lost; books (experiments, history, stored items) cannot. A database in write-ahead mode that a thread opens
// while an object of this class lives on it is written without waiting, until it is closed, but for books: a statement
// that changed any other table than `cache` and `metadata` returns when that is on the disk, and all before it. When
// the power fails, the last thumbnails are lost and nothing is damaged. In the other journal modes SQLite keeps the
// file whole by waiting: such a database is left as it is.
//
// To be put around OpenDatabase, by a program that links the SQLite library which the service loads, and with which no
// other part of it works through hooks on the service's connection. Objects belong to the thread that made them; any
// number of threads may have some.
class CQvRelaxedSync final {
 public:
  CQvRelaxedSync() noexcept {
    const std::lock_guard lock(s_mutex);
    if (s_objects++ == 0) sqlite3_auto_extension(EntryPoint());
    ++t_objects;
  }
  CQvRelaxedSync(const CQvRelaxedSync&) = delete;
  CQvRelaxedSync& operator=(const CQvRelaxedSync&) = delete;
  ~CQvRelaxedSync() {
    const std::lock_guard lock(s_mutex);
    --t_objects;
    if (--s_objects == 0) sqlite3_cancel_auto_extension(EntryPoint());
  }

 private:
  // As SQLite's own setting has it: pages in the log from which it is folded back into the file.
  static constexpr int kCheckpointPages = 1000;
  // Milliseconds that somebody who has the file locked is waited for.
  static constexpr int kBusyTimeout = 1000;

  static void (*EntryPoint() noexcept)() { return reinterpret_cast<void (*)()>(&OnOpen); }

  // Called by SQLite for each connection that is opened. One that cannot be relaxed is as good as ever.
  static int OnOpen(sqlite3* db, char** /*error*/, const void* /*api*/) noexcept {
    if (t_objects == 0) return SQLITE_OK;
    Relax(db);
    // An error that the connection remembers would be the opening's.
    sqlite3_exec(db, "", nullptr, nullptr, nullptr);
    return SQLITE_OK;
  }

  static void Relax(sqlite3* db) noexcept {
    sqlite3_busy_timeout(db, kBusyTimeout);
    const bool isWriteAhead = IsWriteAhead(db);
    sqlite3_busy_timeout(db, 0);
    if (!isWriteAhead) return;
    if (sqlite3_exec(db, "PRAGMA synchronous=NORMAL", nullptr, nullptr, nullptr) != SQLITE_OK) return;
    sqlite3_update_hook(db, &OnChange, db);
  }

  static bool IsWriteAhead(sqlite3* db) noexcept {
    sqlite3_stmt* query = nullptr;
    bool isWriteAhead = false;
    if (sqlite3_prepare_v2(db, "PRAGMA journal_mode", -1, &query, nullptr) == SQLITE_OK &&
        sqlite3_step(query) == SQLITE_ROW) {
      const auto* mode = reinterpret_cast<const char*>(sqlite3_column_text(query, 0));
      isWriteAhead = mode && std::strcmp(mode, "wal") == 0;
    }
    sqlite3_finalize(query);
    return isWriteAhead;
  }

  // Both are called inside the step of one statement, on its thread. The second takes the place of SQLite's own, which
  // is set when an opening ends, too late for OnOpen.
  static void OnChange(void* db, int /*what*/, const char* /*database*/, const char* table, sqlite3_int64) noexcept {
    const std::string_view name(table);
    if (name == "cache" || name == "metadata") return;
    t_booksChanged = true;
    sqlite3_wal_hook(static_cast<sqlite3*>(db), &OnCommit, nullptr);
  }
  static int OnCommit(void*, sqlite3* db, const char* database, int pages) noexcept {
    const int result = std::exchange(t_booksChanged, false) ? WaitForLog(db, database) : SQLITE_OK;
    if (pages >= kCheckpointPages) {
      sqlite3_wal_checkpoint_v2(db, database, SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
    }
    return result;
  }

  static int WaitForLog(sqlite3* db, const char* database) noexcept {
    sqlite3_file* log = nullptr;
    const int result = sqlite3_file_control(db, database, SQLITE_FCNTL_JOURNAL_POINTER, &log);
    if (result != SQLITE_OK || !log || !log->pMethods) return result != SQLITE_OK ? result : SQLITE_IOERR_FSYNC;
    return log->pMethods->xSync(log, SQLITE_SYNC_NORMAL);
  }

  static inline std::mutex s_mutex;
  static inline int s_objects = 0;  // in the process
  static inline thread_local int t_objects = 0;
  static inline thread_local bool t_booksChanged = false;
};
