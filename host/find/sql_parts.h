#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "host/session/sqlite.h"

namespace qvhost {

// What SQL of a connection may use as long as one of these lives, which is longer than the statements that do. One
// thread.

// A function that is true or false. `test` may throw; the statement fails then.
class CSqlTest {
 public:
  using CTest = std::function<bool(sqlite3_value** values)>;

  CSqlTest(SQLite::Database& db, std::string name, int arguments, CTest test);
  CSqlTest(const CSqlTest&) = delete;
  CSqlTest& operator=(const CSqlTest&) = delete;
  ~CSqlTest();

 private:
  static void Call(sqlite3_context* context, int count, sqlite3_value** values) noexcept;

  SQLite::Database& m_db;
  const std::string m_name;
  const int m_arguments;
  const CTest m_test;
};

// A table of numbers, as they stand, each the rowid of a row.
class CSqlNumbers {
 public:
  CSqlNumbers(SQLite::Database& db, std::string name, std::vector<std::int64_t> numbers);
  CSqlNumbers(const CSqlNumbers&) = delete;
  CSqlNumbers& operator=(const CSqlNumbers&) = delete;
  ~CSqlNumbers();

 private:
  SQLite::Database& m_db;
  const std::string m_name;
  std::vector<std::int64_t> m_numbers;
};

}  // namespace qvhost
