#include "gnr_thumbnailcache/database/statement.h"

#include "gnr_thumbnailcache/base/diagnostics.h"

CStatement::CStatement(sqlite3* db, const std::string& sql) noexcept
    : m_db(db), m_prepareResult(sqlite3_prepare_v2(db, sql.c_str(), -1, &m_statement, nullptr)) {}

int CStatement::Step() noexcept {
  if (!m_connection) m_connection.emplace(m_db);
  return m_bindResult == SQLITE_OK ? sqlite3_step(m_statement) : m_bindResult;
}

// After the first value that fails no other is bound, so that the connection's error text stays the reason.
template <class Function, class... Value>
void CStatement::Bind(Function bind, int parameter, Value... value) noexcept {
  if (m_statement && m_bindResult == SQLITE_OK) m_bindResult = bind(m_statement, parameter, value...);
}

void CStatement::BindInt(int parameter, std::int32_t value) noexcept { Bind(sqlite3_bind_int, parameter, value); }

void CStatement::BindInt64(int parameter, std::int64_t value) noexcept { Bind(sqlite3_bind_int64, parameter, value); }

void CStatement::BindDouble(int parameter, double value) noexcept { Bind(sqlite3_bind_double, parameter, value); }

void CStatement::BindText(int parameter, const CQvStringA& text) noexcept {
  Bind(sqlite3_bind_text, parameter, text.c_str(), -1, SQLITE_TRANSIENT);
}

void CStatement::BindText16(int parameter, const CQvStringW& text) {
  // Most texts of most files. SQLite would convert even these.
  if (text.GetLength() == 0) {
    Bind(sqlite3_bind_text, parameter, "", 0, SQLITE_STATIC);
    return;
  }
  Bind(sqlite3_bind_text16, parameter, CQvStringUtils::WtoUTF16(text.c_str()).c_str(), -1, SQLITE_TRANSIENT);
}

void CStatement::BindBlob(int parameter, const CQvByteArray& bytes) noexcept {
  Bind(sqlite3_bind_blob, parameter, bytes.GetData(0), static_cast<int>(bytes.GetSize()), SQLITE_TRANSIENT);
}

CQvStringW CStatement::GetText(int column) {
  return CQvStringUtils::UTF8toW(reinterpret_cast<const char*>(sqlite3_column_text(m_statement, column)));
}

CQvStringW CStatement::GetText16(int column) {
  return CQvStringUtils::UTF16toW(static_cast<const char16_t*>(sqlite3_column_text16(m_statement, column)));
}

CQvByteArray CStatement::GetBlob(int column) {
  const void* data = sqlite3_column_blob(m_statement, column);
  CQvByteArray bytes;
  bytes.SetData(data, data ? static_cast<std::size_t>(sqlite3_column_bytes(m_statement, column)) : 0, 0, 0);
  return bytes;
}

std::int64_t CStatement::CountScannedRows() noexcept {
  return m_statement ? sqlite3_stmt_status(m_statement, SQLITE_STMTSTATUS_FULLSCAN_STEP, 0) : 0;
}

int CStatement::Finalize() noexcept {
  int result = m_statement ? sqlite3_finalize(m_statement) : m_prepareResult;
  if (result == SQLITE_OK) result = m_bindResult;
  m_prepareResult = m_bindResult = SQLITE_OK;
  Leave();
  return result;
}

void CStatement::Leave() noexcept {
  m_statement = nullptr;
  m_connection.reset();
}

void CStatement::ResetAndLeave() noexcept {
  if (m_statement) {
    sqlite3_clear_bindings(m_statement);
    sqlite3_reset(m_statement);
  }
  Leave();
}

int StepAndReport(sqlite3* db, CStatement& statement, const SMessage& stepFailed) noexcept {
  CConnectionLock connection(db);
  const int result = statement.Step();
  if (result != SQLITE_DONE) ReportSqlError(stepFailed, db);
  return result;
}

int FinalizeAndReport(sqlite3* db, CStatement& statement, const SMessage& finalizeFailed) noexcept {
  CConnectionLock connection(db);
  const int result = statement.Finalize();
  if (result != SQLITE_OK) ReportSqlError(finalizeFailed, db);
  return result;
}

int RunAndReport(sqlite3* db, CStatement& statement, const SWriteMessages& messages, int* rowID) noexcept {
  CConnectionLock connection(db);
  StepAndReport(db, statement, messages.stepFailed);
  const int result = FinalizeAndReport(db, statement, messages.finalizeFailed);
  if (rowID) *rowID = static_cast<int>(sqlite3_last_insert_rowid(db));
  return result;
}
