#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace qvhost {

// A prepared statement. Bind numbers start at 1, columns at 0. Every failure throws CHostError with SQLite's message.
// Used by one thread at a time.
class CStatement {
 public:
  CStatement() = default;
  CStatement(sqlite3* db, const char* sql);

  // The bound bytes must stay valid until the next Reset.
  CStatement& Bind(int number, std::string_view text);
  CStatement& Bind(int number, std::int64_t value);
  CStatement& Bind(int number, double value);
  CStatement& BindBlob(int number, const void* data, std::size_t size);

  // True when there is a row.
  bool Step();
  // Makes the statement ready to be bound and stepped again.
  void Reset() noexcept;

  std::int64_t Int(int column) const { return sqlite3_column_int64(m_statement.get(), column); }
  double Double(int column) const { return sqlite3_column_double(m_statement.get(), column); }
  // Empty for NULL.
  std::string Text(int column) const;
  // Of a text that was stored as UTF-16.
  std::u16string_view WideText(int column) const;
  // Valid until the next Step or Reset.
  std::string_view Blob(int column) const;

 private:
  struct SFinalize {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };
  void Check(int result) const;

  std::unique_ptr<sqlite3_stmt, SFinalize> m_statement;
};

// A connection of the host's own. A statement waits up to 5 seconds for another writer. Failures throw CHostError.
class CSqlite {
 public:
  CSqlite() = default;
  // `flags` as for sqlite3_open_v2.
  CSqlite(const std::string& path, int flags);

  CStatement Prepare(const char* sql) const { return CStatement(m_db.get(), sql); }
  // Runs a statement up to its first row; returns that row's first column as text, empty when there is none.
  std::string Run(const char* sql) const;
  std::int64_t RunInt(const char* sql) const;
  bool HasTable(std::string_view name) const;
  sqlite3* Handle() const noexcept { return m_db.get(); }

 private:
  struct SClose {
    void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
  };
  std::unique_ptr<sqlite3, SClose> m_db;
};

// A connection that only reads. It is opened for writing all the same, so that the one that closes last, whichever it
// is, can fold the write-ahead log back into the database.
CSqlite OpenForReading(const std::string& path);

// Rolls back what was not committed.
class CTransaction {
 public:
  explicit CTransaction(const CSqlite& db) : m_db(db) { m_db.Run("BEGIN IMMEDIATE"); }
  CTransaction(const CTransaction&) = delete;
  CTransaction& operator=(const CTransaction&) = delete;
  ~CTransaction() {
    if (!m_done) sqlite3_exec(m_db.Handle(), "ROLLBACK", nullptr, nullptr, nullptr);
  }
  void Commit() {
    m_db.Run("COMMIT");
    m_done = true;
  }

 private:
  const CSqlite& m_db;
  bool m_done = false;
};

}  // namespace qvhost
