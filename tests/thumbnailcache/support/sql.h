#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace qvtest {

// Bytes as the inside of an x'' literal.
inline std::string Hex(const std::vector<std::uint8_t>& bytes) {
  std::string hex;
  for (const std::uint8_t byte : bytes) {
    hex += "0123456789abcdef"[byte >> 4];
    hex += "0123456789abcdef"[byte & 15];
  }
  return hex;
}

// A test's own connection to a database file.
class Sql {
 public:
  explicit Sql(const std::string& path) {
    if (sqlite3_open(path.c_str(), &m_db) != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(m_db));
    sqlite3_busy_timeout(m_db, 10000);
  }
  Sql(const Sql&) = delete;
  Sql& operator=(const Sql&) = delete;
  ~Sql() { sqlite3_close(m_db); }

  // Runs statements; throws on an error.
  void Run(const std::string& text) {
    char* message = nullptr;
    if (sqlite3_exec(m_db, text.c_str(), nullptr, nullptr, &message) == SQLITE_OK) return;
    const std::string copy = message ? message : "?";
    sqlite3_free(message);
    throw std::runtime_error(copy);
  }

  // All rows of a query, columns joined with "|", NULL as "NULL".
  std::vector<std::string> Rows(const std::string& text) {
    std::vector<std::string> rows;
    char* message = nullptr;
    const auto add = [](void* context, int count, char** values, char**) {
      std::string row;
      for (int i = 0; i < count; ++i) row += std::string(i ? "|" : "") + (values[i] ? values[i] : "NULL");
      static_cast<std::vector<std::string>*>(context)->push_back(row);
      return 0;
    };
    if (sqlite3_exec(m_db, text.c_str(), add, &rows, &message) == SQLITE_OK) return rows;
    const std::string copy = message ? message : "?";
    sqlite3_free(message);
    throw std::runtime_error(copy);
  }
  // The single value of a query.
  std::string Value(const std::string& text) {
    const auto rows = Rows(text);
    return rows.empty() ? "(no row)" : rows[0];
  }

  // The same as a number, to the last bit.
  double Number(const std::string& text) {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(m_db, text.c_str(), -1, &statement, nullptr);
    const bool found = sqlite3_step(statement) == SQLITE_ROW;
    const double number = found ? sqlite3_column_double(statement, 0) : 0.0;
    sqlite3_finalize(statement);
    if (!found) throw std::runtime_error("no row");
    return number;
  }

  sqlite3* Handle() const { return m_db; }

 private:
  sqlite3* m_db = nullptr;
};

}  // namespace qvtest
