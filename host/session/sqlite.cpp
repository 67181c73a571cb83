#include "host/session/sqlite.h"

#include "host/host_error.h"

namespace qvhost {
namespace {

constexpr int kBusyMilliseconds = 5000;

[[noreturn]] void Fail(sqlite3* db) { throw CHostError(std::string("the database says: ") + sqlite3_errmsg(db)); }

}  // namespace

CStatement::CStatement(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) Fail(db);
  m_statement.reset(statement);
}

void CStatement::Check(int result) const {
  if (result != SQLITE_OK) Fail(sqlite3_db_handle(m_statement.get()));
}

CStatement& CStatement::Bind(int number, std::string_view text) {
  const char* data = text.data() ? text.data() : "";
  Check(sqlite3_bind_text64(m_statement.get(), number, data, text.size(), SQLITE_STATIC, SQLITE_UTF8));
  return *this;
}

CStatement& CStatement::Bind(int number, std::int64_t value) {
  Check(sqlite3_bind_int64(m_statement.get(), number, value));
  return *this;
}

CStatement& CStatement::Bind(int number, double value) {
  Check(sqlite3_bind_double(m_statement.get(), number, value));
  return *this;
}

CStatement& CStatement::BindBlob(int number, const void* data, std::size_t size) {
  Check(sqlite3_bind_blob64(m_statement.get(), number, data ? data : "", size, SQLITE_STATIC));
  return *this;
}

bool CStatement::Step() {
  const int result = sqlite3_step(m_statement.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) Fail(sqlite3_db_handle(m_statement.get()));
  return false;
}

void CStatement::Reset() noexcept {
  sqlite3_reset(m_statement.get());
  sqlite3_clear_bindings(m_statement.get());
}

std::string CStatement::Text(int column) const {
  const unsigned char* text = sqlite3_column_text(m_statement.get(), column);
  if (!text) return {};
  return {reinterpret_cast<const char*>(text),
          static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

std::u16string_view CStatement::WideText(int column) const {
  const void* text = sqlite3_column_text16(m_statement.get(), column);
  if (!text) return {};
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes16(m_statement.get(), column));
  return {static_cast<const char16_t*>(text), size / sizeof(char16_t)};
}

std::string_view CStatement::Blob(int column) const {
  const void* data = sqlite3_column_blob(m_statement.get(), column);
  if (!data) return {};
  return {static_cast<const char*>(data), static_cast<std::size_t>(sqlite3_column_bytes(m_statement.get(), column))};
}

CSqlite::CSqlite(const std::string& path, int flags) {
  sqlite3* db = nullptr;
  const int result = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
  m_db.reset(db);
  if (result != SQLITE_OK) {
    throw CHostError("cannot open " + path + ": " + (db ? sqlite3_errmsg(db) : "out of memory"));
  }
  sqlite3_busy_timeout(db, kBusyMilliseconds);
}

std::string CSqlite::Run(const char* sql) const {
  CStatement statement = Prepare(sql);
  return statement.Step() ? statement.Text(0) : std::string();
}

std::int64_t CSqlite::RunInt(const char* sql) const {
  CStatement statement = Prepare(sql);
  return statement.Step() ? statement.Int(0) : 0;
}

CSqlite OpenForReading(const std::string& path) {
  CSqlite db(path, SQLITE_OPEN_READWRITE);
  db.Run("PRAGMA query_only=ON");
  return db;
}

bool CSqlite::HasTable(std::string_view name) const {
  CStatement statement = Prepare("SELECT 1 FROM sqlite_master WHERE type = 'table' AND name = ?1");
  return statement.Bind(1, name).Step();
}

}  // namespace qvhost
