#include "gnr_thumbnailcache/database/schema.h"

#include <sqlite3.h>

#include <sstream>
#include <string>
#include <string_view>

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/base/new_file.h"
#include "gnr_thumbnailcache/database/metadata_columns.h"
#include "gnr_thumbnailcache/database/safety_copy.h"
#include "gnr_thumbnailcache/database/schema_guard.h"
#include "gnr_thumbnailcache/database/statement.h"
#include "system/qvdiag.h"
#include "system/qvstatus.h"

namespace {

struct STable {
  const char* name;
  std::string columns;     // as the format test reads them
  std::string definition;  // as the table is created with
  const char* drop;
  const wchar_t* dropFailed;
  const wchar_t* createFailed;
  // Null for what can be made again from the images. Else the file is copied before the table is dropped, and this says
  // what comes of it.
  const wchar_t* copyFailed = nullptr;
};

constexpr const char* kUserIDTest = "SELECT userID FROM history";

std::wstring ErrorText(sqlite3* db) { return CQvStringUtils::UTF8toW(sqlite3_errmsg(db)).Str(); }

std::int32_t Fail(sqlite3* db, const SMessage& message, const std::wstring& error) {
  ReportText(message.line, message.text + error);
  sqlite3_close(db);
  return kQvFailure;
}

// Prepares, steps once and finalizes; the step's result, or the error of the preparation.
int Run(sqlite3* db, const std::string& sql) {
  CStatement statement(db, sql);
  return statement.GetPrepareResult() == SQLITE_OK ? statement.Step() : statement.GetPrepareResult();
}

int FindTable(sqlite3* db, const STable& table) {
  std::ostringstream sql;
  sql << "SELECT name FROM sqlite_master WHERE type='table' AND name ='" << table.name << "'";
  return Run(db, sql.str());
}

enum class EFormat { Right, Wrong, Unknown };

// Wrong is only what SQLite says to be missing. A statement may also fail to be prepared for want of memory, or because
// the file is locked or cannot be read, and nothing may be dropped for that.
EFormat TestFormat(sqlite3* db, const std::string& test) {
  const CStatement statement(db, test);
  if (statement.GetPrepareResult() == SQLITE_OK) return EFormat::Right;
  const std::string_view error = sqlite3_errmsg(db);
  const bool missing = error.starts_with("no such column: ") || error.starts_with("no such table: ");
  return statement.GetPrepareResult() == SQLITE_ERROR && missing ? EFormat::Wrong : EFormat::Unknown;
}

std::string FormatTest(const STable& table) { return "SELECT " + table.columns + " FROM " + table.name; }

// Of two processes that open a new file at the same moment, both find a table missing and one makes it.
bool WasMadeMeanwhile(sqlite3* db, const STable& table) {
  return FindTable(db, table) == SQLITE_ROW && TestFormat(db, FormatTest(table)) == EFormat::Right;
}

std::int32_t Create(sqlite3* db, const STable& table) {
  std::ostringstream sql;
  sql << "CREATE TABLE " << table.name << " (" << table.definition << ")";
  if (Run(db, sql.str()) == SQLITE_DONE) return kQvOk;
  const std::wstring error = ErrorText(db);
  return WasMadeMeanwhile(db, table) ? kQvOk : Fail(db, {table.createFailed, __LINE__}, error);
}

// Drops the table whose format was tested; SQLITE_AUTH when the tables are others by now.
int Drop(sqlite3* db, const STable& table) {
  CSchemaGuard guard(db);
  CStatement statement(db, table.drop);
  if (statement.GetPrepareResult() != SQLITE_OK) return statement.GetPrepareResult();
  guard.Arm();
  return statement.Step();
}

bool IsGone(const STable& table, const std::wstring& error) {
  return error == L"no such table: " + CQvStringUtils::UTF8toW(table.name).Str();
}

std::int32_t Check(sqlite3* db, const STable& table);

std::int32_t AfterDrop(sqlite3* db, const STable& table, int dropped) {
  if (dropped == SQLITE_DONE) return Create(db, table);
  const std::wstring error = ErrorText(db);
  if (dropped == SQLITE_AUTH) return Check(db, table);
  return IsGone(table, error) ? Create(db, table) : Fail(db, {table.dropFailed, __LINE__}, error);
}

// The copy of a table that was not dropped would only be in the way.
std::int32_t CopyDropAndCreate(sqlite3* db, const STable& table) {
  std::wstring error;
  const std::string copy = CopyDatabaseAside(db, &error);
  if (copy.empty()) return Fail(db, {table.copyFailed, __LINE__}, error);
  const int dropped = Drop(db, table);
  if (dropped == SQLITE_DONE) {
    ReportText(__LINE__, L"THUMBCACHE: The database was copied to " + CQvStringUtils::UTF8toW(copy.c_str()).Str());
  } else {
    RemoveFile(copy);
  }
  return AfterDrop(db, table, dropped);
}

// A table that exists: kept when it has the columns, else dropped and made anew.
std::int32_t CheckFormat(sqlite3* db, const STable& table) {
  const EFormat format = TestFormat(db, FormatTest(table));
  if (format == EFormat::Right) return kQvOk;
  if (format == EFormat::Unknown) return Fail(db, {L"THUMBCACHE: ", __LINE__}, ErrorText(db));
  DiagOutputExW(L"THUMBCACHE: Table has wrong (old) format");
  return table.copyFailed ? CopyDropAndCreate(db, table) : AfterDrop(db, table, Drop(db, table));
}

std::int32_t AfterSearch(sqlite3* db, const STable& table, int found) {
  if (found == SQLITE_ROW) return CheckFormat(db, table);
  if (found != SQLITE_DONE) return Fail(db, {L"THUMBCACHE: ", __LINE__}, ErrorText(db));
  return Create(db, table);
}

std::int32_t Check(sqlite3* db, const STable& table) { return AfterSearch(db, table, FindTable(db, table)); }

// The column is there, could be added, or was added by another process meanwhile.
std::int32_t EnsureUserID(sqlite3* db, const STable& table) {
  const EFormat format = TestFormat(db, kUserIDTest);
  if (format == EFormat::Right) return kQvOk;
  if (format == EFormat::Unknown) return Fail(db, {L"THUMBCACHE: ", __LINE__}, ErrorText(db));
  ReportText(__LINE__, L"THUMBCACHE: User ID is missing, creating...");
  if (Run(db, "ALTER TABLE history ADD userID TEXT") == SQLITE_DONE) return kQvOk;
  const std::wstring error = ErrorText(db);
  if (TestFormat(db, kUserIDTest) == EFormat::Right) return kQvOk;
  return Fail(db, {table.createFailed, __LINE__}, error);
}

}  // namespace

std::int32_t CheckCacheTable(sqlite3* db) {
  return Check(db, {"cache", "filename, lastWritten, flags, binData, quality",
                    "filename TEXT, lastWritten REAL, flags INTEGER, binData BLOB, quality INTEGER, "
                    "PRIMARY KEY (filename, flags)",
                    "DROP TABLE cache", L"THUMBCACHE: Failed to drop the cache table. ",
                    L"THUMBCACHE: Failed to create the cache table. "});
}

std::int32_t CheckMetadataTable(sqlite3* db) {
  return Check(
      db, {"metadata", JoinMetadataColumns(EMetadataPart::Name),
           JoinMetadataColumns(EMetadataPart::Definition) + ", PRIMARY KEY (filename)", "DROP TABLE metadata",
           L"THUMBCACHE: Failed to drop the metadata table. ", L"THUMBCACHE: Failed to create the metadata table. "});
}

std::int32_t CheckExperimentsTable(sqlite3* db) {
  return Check(db, {"experiments", "experimentID, M_acqTime, liteVariant, picturePlanes, storedID, hashCRC",
                    "experimentID INTEGER PRIMARY KEY, M_acqTime REAL, liteVariant BLOB, picturePlanes BLOB, "
                    "storedID INTEGER, hashCRC INTEGER",
                    "DROP TABLE experiments", L"THUMBCACHE: Failed to drop the experiments table. ",
                    L"THUMBCACHE: Failed to create the experiments table. ",
                    L"THUMBCACHE: Failed to copy the database aside before its experiments table is dropped. "});
}

std::int32_t CheckHistoryTable(sqlite3* db) {
  const STable table = {"history",
                        "filename, M_acqTime, experimentID",
                        "filename TEXT, userID TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY (filename)",
                        "DROP TABLE history",
                        L"THUMBCACHE: Failed to drop the history table. ",
                        L"THUMBCACHE: Failed to create the history table. ",
                        L"THUMBCACHE: Failed to copy the database aside before its history table is dropped. "};
  const int found = FindTable(db, table);
  if (found == SQLITE_ROW) {
    if (const std::int32_t status = EnsureUserID(db, table)) return status;
  }
  return AfterSearch(db, table, found);
}

std::int32_t CheckStoredTable(sqlite3* db) {
  return Check(db, {"stored", "storedID, storedParentID, filename, flags",
                    "storedID INTEGER, storedParentID INTEGER, filename TEXT, flags INTEGER, PRIMARY KEY (storedID)",
                    messages::kDropStoredTable, L"THUMBCACHE: Failed to drop the stored table. ",
                    L"THUMBCACHE: Failed to create the stored table. "});
}
