#include "gnr_thumbnailcache/database/schema.h"

#include <sqlite3.h>

#include <sstream>
#include <string>

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/metadata_columns.h"
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
};

std::int32_t Fail(sqlite3* db, const SMessage& message) {
  {
    CConnectionLock connection(db);
    ReportSqlError(message, db);
  }
  sqlite3_close(db);
  return kQvFailure;
}

// Prepares, steps once and finalizes; the step's result, or the error of the preparation.
int Run(sqlite3* db, const std::string& sql) {
  CStatement statement(db, sql);
  return statement.GetPrepareResult() == SQLITE_OK ? statement.Step() : statement.GetPrepareResult();
}

bool CanPrepare(sqlite3* db, const std::string& sql) { return CStatement(db, sql).GetPrepareResult() == SQLITE_OK; }

int FindTable(sqlite3* db, const STable& table) {
  std::ostringstream sql;
  sql << "SELECT name FROM sqlite_master WHERE type='table' AND name ='" << table.name << "'";
  return Run(db, sql.str());
}

std::int32_t Create(sqlite3* db, const STable& table) {
  std::ostringstream sql;
  sql << "CREATE TABLE " << table.name << " (" << table.definition << ")";
  return Run(db, sql.str()) == SQLITE_DONE ? kQvOk : Fail(db, {table.createFailed, __LINE__});
}

// A table that exists: kept when it has the columns, else dropped and made anew.
std::int32_t CheckFormat(sqlite3* db, const STable& table) {
  std::ostringstream sql;
  sql << "SELECT " << table.columns << " FROM " << table.name;
  if (CanPrepare(db, sql.str())) return kQvOk;
  DiagOutputExW(L"THUMBCACHE: Table has wrong (old) format");
  if (Run(db, table.drop) != SQLITE_DONE) return Fail(db, {table.dropFailed, __LINE__});
  return Create(db, table);
}

std::int32_t AfterSearch(sqlite3* db, const STable& table, int found) {
  if (found == SQLITE_ROW) return CheckFormat(db, table);
  if (found != SQLITE_DONE) return Fail(db, {L"THUMBCACHE: ", __LINE__});
  return Create(db, table);
}

std::int32_t Check(sqlite3* db, const STable& table) { return AfterSearch(db, table, FindTable(db, table)); }

// True when the column is there or could be added.
bool EnsureUserID(sqlite3* db) {
  if (CanPrepare(db, "SELECT userID FROM history")) return true;
  ReportText(__LINE__, L"THUMBCACHE: User ID is missing, creating...");
  return Run(db, "ALTER TABLE history ADD userID TEXT") == SQLITE_DONE;
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
                    L"THUMBCACHE: Failed to create the experiments table. "});
}

std::int32_t CheckHistoryTable(sqlite3* db) {
  const STable table = {"history",
                        "filename, M_acqTime, experimentID",
                        "filename TEXT, userID TEXT, M_acqTime REAL, experimentID INTEGER, PRIMARY KEY (filename)",
                        "DROP TABLE history",
                        L"THUMBCACHE: Failed to drop the history table. ",
                        L"THUMBCACHE: Failed to create the history table. "};
  const int found = FindTable(db, table);
  if (found == SQLITE_ROW && !EnsureUserID(db)) return Fail(db, {table.createFailed, __LINE__});
  return AfterSearch(db, table, found);
}

std::int32_t CheckStoredTable(sqlite3* db) {
  return Check(db, {"stored", "storedID, storedParentID, filename, flags",
                    "storedID INTEGER, storedParentID INTEGER, filename TEXT, flags INTEGER, PRIMARY KEY (storedID)",
                    messages::kDropStoredTable, L"THUMBCACHE: Failed to drop the stored table. ",
                    L"THUMBCACHE: Failed to create the stored table. "});
}
