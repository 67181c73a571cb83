#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "gnr_thumbnailcache/base/messages.h"
#include "gnr_thumbnailcache/database/connection_lock.h"
#include "system/qvbytearray.h"
#include "system/qvstring.h"

// One prepared statement, used once by one thread and finalized with the object. Parameters and columns by position;
// texts and blobs are copied. A statement that could not be prepared, or one of whose values could not be bound, does
// nothing: a row without that value would look like one that was written. Step fails, and Finalize gives the reason.
//
// From its first step to its end a statement holds the connection. SQLite gives a write up at once, without the busy
// timeout, when another process is writing and another statement of the same connection is in the middle of reading.
class CStatement {
 public:
  CStatement(sqlite3* db, const std::string& sql) noexcept;
  CStatement(const CStatement&) = delete;
  CStatement& operator=(const CStatement&) = delete;
  ~CStatement() { Finalize(); }

  int GetPrepareResult() const noexcept { return m_prepareResult; }

  void BindInt(int parameter, std::int32_t value) noexcept;
  void BindInt64(int parameter, std::int64_t value) noexcept;
  void BindDouble(int parameter, double value) noexcept;
  // As UTF-8, up to the first zero.
  void BindText(int parameter, const CQvStringA& text) noexcept;
  // As UTF-16.
  void BindText16(int parameter, const CQvStringW& text);
  // Null data binds NULL.
  void BindBlob(int parameter, const CQvByteArray& bytes) noexcept;

  int Step() noexcept;

  std::int32_t GetInt(int column) noexcept { return sqlite3_column_int(m_statement, column); }
  std::int64_t GetInt64(int column) noexcept { return sqlite3_column_int64(m_statement, column); }
  double GetDouble(int column) noexcept { return sqlite3_column_double(m_statement, column); }
  // NULL is the empty text or blob.
  CQvStringW GetText(int column);
  CQvStringW GetText16(int column);
  CQvByteArray GetBlob(int column);

  // Rows that its steps so far looked at because no index leads to those wanted.
  std::int64_t CountScannedRows() noexcept;

  // Returns SQLite's result: the error of the last step, if it failed, or what kept it from being stepped. Later calls
  // return 0.
  int Finalize() noexcept;
  // Clears the bindings, resets the statement and leaves it to the connection, which finalizes it when it is closed.
  void ResetAndLeave() noexcept;
  // Leaves the statement to the connection as it is. Only after SQLITE_DONE: any other would go on reading or writing,
  // and a connection with a write under way never commits again.
  void Leave() noexcept;

 private:
  template <class Function, class... Value>
  void Bind(Function bind, int parameter, Value... value) noexcept;

  sqlite3* m_db;
  std::optional<CConnectionLock> m_connection;
  sqlite3_stmt* m_statement = nullptr;
  int m_prepareResult;
  int m_bindResult = SQLITE_OK;
};

// What is reported when a writing statement fails.
struct SWriteMessages {
  SMessage stepFailed;
  SMessage finalizeFailed;
};

// Steps a writing statement and reports a result other than SQLITE_DONE. Returns the step's result.
int StepAndReport(sqlite3* db, CStatement& statement, const SMessage& stepFailed) noexcept;
// Finalizes and reports a result other than 0. Returns the result.
int FinalizeAndReport(sqlite3* db, CStatement& statement, const SMessage& finalizeFailed) noexcept;
// Both; returns the finalize result. `rowID`, when not null, receives the connection's last insert row id, also after a
// failure: under the connection's lock, so it is the id of this very insert when it succeeded.
int RunAndReport(sqlite3* db, CStatement& statement, const SWriteMessages& messages, int* rowID = nullptr) noexcept;
