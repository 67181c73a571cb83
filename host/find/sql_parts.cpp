#include "host/find/sql_parts.h"

#include <new>
#include <utility>

namespace qvhost {
namespace {

struct SNumberTable : sqlite3_vtab {
  const std::vector<std::int64_t>* numbers = nullptr;
};

struct SNumberCursor : sqlite3_vtab_cursor {
  const std::vector<std::int64_t>* numbers = nullptr;
  std::size_t at = 0;
};

SNumberCursor& CursorOf(sqlite3_vtab_cursor* cursor) { return *static_cast<SNumberCursor*>(cursor); }

int ConnectNumbers(sqlite3* db, void* numbers, int, const char* const*, sqlite3_vtab** table, char**) {
  const int status = sqlite3_declare_vtab(db, "CREATE TABLE x (number INTEGER)");
  if (status != SQLITE_OK) return status;
  auto* const made = new (std::nothrow) SNumberTable;
  if (!made) return SQLITE_NOMEM;
  made->numbers = static_cast<const std::vector<std::int64_t>*>(numbers);
  *table = made;
  return SQLITE_OK;
}

int DisconnectNumbers(sqlite3_vtab* table) {
  delete static_cast<SNumberTable*>(table);
  return SQLITE_OK;
}

int PlanNumbers(sqlite3_vtab*, sqlite3_index_info*) { return SQLITE_OK; }

int OpenNumbers(sqlite3_vtab* table, sqlite3_vtab_cursor** cursor) {
  auto* const made = new (std::nothrow) SNumberCursor;
  if (!made) return SQLITE_NOMEM;
  made->numbers = static_cast<SNumberTable*>(table)->numbers;
  *cursor = made;
  return SQLITE_OK;
}

int CloseNumbers(sqlite3_vtab_cursor* cursor) {
  delete static_cast<SNumberCursor*>(cursor);
  return SQLITE_OK;
}

int BeginNumbers(sqlite3_vtab_cursor* cursor, int, const char*, int, sqlite3_value**) {
  CursorOf(cursor).at = 0;
  return SQLITE_OK;
}

int GoToNextNumber(sqlite3_vtab_cursor* cursor) {
  ++CursorOf(cursor).at;
  return SQLITE_OK;
}

int AreNumbersOver(sqlite3_vtab_cursor* cursor) { return CursorOf(cursor).at >= CursorOf(cursor).numbers->size(); }

int RowidOfNumber(sqlite3_vtab_cursor* cursor, sqlite3_int64* number) {
  *number = (*CursorOf(cursor).numbers)[CursorOf(cursor).at];
  return SQLITE_OK;
}

int AnswerNumber(sqlite3_vtab_cursor* cursor, sqlite3_context* context, int) {
  sqlite3_result_int64(context, (*CursorOf(cursor).numbers)[CursorOf(cursor).at]);
  return SQLITE_OK;
}

const sqlite3_module& NumberModule() {
  static const sqlite3_module module = [] {
    sqlite3_module made{};
    made.xConnect = &ConnectNumbers;
    made.xBestIndex = &PlanNumbers;
    made.xDisconnect = &DisconnectNumbers;
    made.xOpen = &OpenNumbers;
    made.xClose = &CloseNumbers;
    made.xFilter = &BeginNumbers;
    made.xNext = &GoToNextNumber;
    made.xEof = &AreNumbersOver;
    made.xColumn = &AnswerNumber;
    made.xRowid = &RowidOfNumber;
    return made;
  }();
  return module;
}

}  // namespace

CSqlTest::CSqlTest(SQLite::Database& db, std::string name, int arguments, CTest test)
    : m_db(db), m_name(std::move(name)), m_arguments(arguments), m_test(std::move(test)) {
  m_db.createFunction(m_name.c_str(), m_arguments, false, this, &Call, nullptr, nullptr, nullptr);
}

CSqlTest::~CSqlTest() {
  sqlite3_create_function_v2(m_db.getHandle(), m_name.c_str(), m_arguments, SQLITE_UTF8, nullptr, nullptr, nullptr,
                             nullptr, nullptr);
}

void CSqlTest::Call(sqlite3_context* context, int, sqlite3_value** values) noexcept {
  try {
    sqlite3_result_int(context, static_cast<const CSqlTest*>(sqlite3_user_data(context))->m_test(values));
  } catch (const SQLite::Exception& error) {
    sqlite3_result_error(context, error.what(), -1);
    sqlite3_result_error_code(context, error.getErrorCode());
  } catch (...) {
    sqlite3_result_error_nomem(context);
  }
}

CSqlNumbers::CSqlNumbers(SQLite::Database& db, std::string name, std::vector<std::int64_t> numbers)
    : m_db(db), m_name(std::move(name)), m_numbers(std::move(numbers)) {
  if (sqlite3_create_module_v2(m_db.getHandle(), m_name.c_str(), &NumberModule(), &m_numbers, nullptr) != SQLITE_OK) {
    throw SQLite::Exception(m_db.getHandle());
  }
}

CSqlNumbers::~CSqlNumbers() { sqlite3_create_module_v2(m_db.getHandle(), m_name.c_str(), nullptr, nullptr, nullptr); }

}  // namespace qvhost
