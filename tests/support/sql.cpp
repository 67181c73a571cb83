#include "tests/support/sql.h"

#include <stdexcept>

namespace qvtest {
namespace {

constexpr int kBusyTimeout = 10000;  // milliseconds

[[noreturn]] void Fail(sqlite3* db) { throw std::runtime_error(sqlite3_errmsg(db)); }

int AddRow(void* context, int count, char** values, char**) {
  std::string row;
  for (int i = 0; i < count; ++i) row += std::string(i ? "|" : "") + (values[i] ? values[i] : "NULL");
  static_cast<std::vector<std::string>*>(context)->push_back(row);
  return 0;
}

}  // namespace

std::string Hex(std::span<const std::uint8_t> bytes) {
  std::string hex;
  for (const std::uint8_t byte : bytes) {
    hex += "0123456789abcdef"[byte >> 4];
    hex += "0123456789abcdef"[byte & 15];
  }
  return hex;
}

// sqlite3_open_v2 is what the component calls, and spies watch it.
CSql::CSql(const std::string& path) {
  if (sqlite3_open(path.c_str(), &m_db) != SQLITE_OK) {
    const std::string message = sqlite3_errmsg(m_db);
    sqlite3_close(m_db);
    throw std::runtime_error(path + ": " + message);
  }
  sqlite3_busy_timeout(m_db, kBusyTimeout);
}

void CSql::Run(const std::string& text) {
  if (sqlite3_exec(m_db, text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) Fail(m_db);
}

std::vector<std::string> CSql::Rows(const std::string& text) {
  std::vector<std::string> rows;
  if (sqlite3_exec(m_db, text.c_str(), AddRow, &rows, nullptr) != SQLITE_OK) Fail(m_db);
  return rows;
}

std::string CSql::Value(const std::string& text) {
  const std::vector<std::string> rows = Rows(text);
  return rows.empty() ? "(no row)" : rows[0];
}

double CSql::Number(const std::string& text) {
  CSqlStatement select(*this, text.c_str());
  if (!select.Row()) throw std::runtime_error("no row");
  return sqlite3_column_double(select.Handle(), 0);
}

CSqlStatement::CSqlStatement(const CSql& db, const char* text) {
  if (sqlite3_prepare_v2(db.Handle(), text, -1, &m_statement, nullptr) != SQLITE_OK) Fail(db.Handle());
}

CSqlStatement& CSqlStatement::Text(int parameter, const std::string& text) {
  sqlite3_bind_text(m_statement, parameter, text.c_str(), -1, SQLITE_TRANSIENT);
  return *this;
}

CSqlStatement& CSqlStatement::Int(int parameter, std::int64_t value) {
  sqlite3_bind_int64(m_statement, parameter, value);
  return *this;
}

CSqlStatement& CSqlStatement::Double(int parameter, double value) {
  sqlite3_bind_double(m_statement, parameter, value);
  return *this;
}

CSqlStatement& CSqlStatement::Blob(int parameter, std::span<const std::uint8_t> bytes) {
  sqlite3_bind_blob(m_statement, parameter, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
  return *this;
}

bool CSqlStatement::Row() {
  const int result = sqlite3_step(m_statement);
  if (result != SQLITE_ROW && result != SQLITE_DONE) Fail(sqlite3_db_handle(m_statement));
  return result == SQLITE_ROW;
}

void CSqlStatement::Done() {
  while (Row()) {
  }
}

std::string CSqlStatement::TextAt(int column) const {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column));
  return text ? text : "";
}

std::vector<std::uint8_t> CSqlStatement::BlobAt(int column) const {
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(m_statement, column));
  return {bytes, bytes + sqlite3_column_bytes(m_statement, column)};
}

std::string QueryText(const std::string& database, const std::string& text) {
  const CSql db(database);
  CSqlStatement select(db, text.c_str());
  return select.Row() ? select.TextAt(0) : std::string();
}

std::int64_t QueryInt(const std::string& database, const std::string& text) {
  const std::string value = QueryText(database, text);
  return value.empty() ? -1 : std::stoll(value);
}

void Execute(const std::string& database, const std::string& text) { CSql(database).Run(text); }

std::vector<std::string> CachedRows(const std::string& database) {
  CSql db(database);
  std::vector<std::string> rows =
      db.Rows("SELECT filename, lastWritten, flags, quality, hex(binData) FROM cache ORDER BY filename, flags");
  for (std::string& row : db.Rows("SELECT * FROM metadata ORDER BY filename")) rows.push_back(std::move(row));
  return rows;
}

}  // namespace qvtest
