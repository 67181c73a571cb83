#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace qvtest {

// Bytes as the inside of an x'' literal.
std::string Hex(std::span<const std::uint8_t> bytes);

// A connection of its own to a database file, which it makes when there is none. Operations throw std::runtime_error
// with SQLite's message.
class CSql {
 public:
  explicit CSql(const std::string& path);
  ~CSql() { sqlite3_close(m_db); }
  CSql(const CSql&) = delete;
  CSql& operator=(const CSql&) = delete;

  // Runs any number of statements.
  void Run(const std::string& text);
  // All rows of a query, columns joined with "|", NULL as "NULL".
  std::vector<std::string> Rows(const std::string& text);
  // The first row of a query; "(no row)" when there is none.
  std::string Value(const std::string& text);
  // The first column of the first row, to the last bit.
  double Number(const std::string& text);

  sqlite3* Handle() const { return m_db; }

 private:
  sqlite3* m_db = nullptr;
};

// A prepared statement. Values are bound by the number of their parameter, from 1; they are copied.
class CSqlStatement {
 public:
  CSqlStatement(const CSql& db, const char* text);
  ~CSqlStatement() { sqlite3_finalize(m_statement); }
  CSqlStatement(const CSqlStatement&) = delete;
  CSqlStatement& operator=(const CSqlStatement&) = delete;

  CSqlStatement& Text(int parameter, const std::string& text);
  CSqlStatement& Int(int parameter, std::int64_t value);
  CSqlStatement& Double(int parameter, double value);
  CSqlStatement& Blob(int parameter, std::span<const std::uint8_t> bytes);

  // Steps; whether there is a row.
  bool Row();
  // Steps to the end.
  void Done();
  // Makes it ready to run again, with the values that are bound.
  void Reset() { sqlite3_reset(m_statement); }

  std::string TextAt(int column) const;
  std::vector<std::uint8_t> BlobAt(int column) const;
  sqlite3_stmt* Handle() const { return m_statement; }

 private:
  sqlite3_stmt* m_statement = nullptr;
};

// The first column of a query's first row, over a connection for this query only: empty, or -1, when there is none.
std::string QueryText(const std::string& database, const std::string& text);
std::int64_t QueryInt(const std::string& database, const std::string& text);
void Execute(const std::string& database, const std::string& text);

// All thumbnails and texts of a thumbnail database, in the order of their names, to be compared.
std::vector<std::string> CachedRows(const std::string& database);

}  // namespace qvtest
