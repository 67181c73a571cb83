#include "gnr_thumbnailcache/textinfo/metadata_table.h"

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/metadata_columns.h"
#include "gnr_thumbnailcache/database/statement.h"
#include "gnr_thumbnailcache/textinfo/extraction.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

constexpr SWriteMessages kSaveMessages = {messages::kSaveTextInfoStepFailed, messages::kSaveTextInfoFinalizeFailed};

// A row is valid while the file's stamp equals the stored one: the low half of the last-write time, 0 for a missing
// file. The high half is left out on purpose: stamps in existing files were written so.
double GetLastWriteStamp(const CQvStringW& path) {
  SQvFindData data;
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(path.c_str(), &data, &find) == kQvOk) QV_FindFileClose(find);
  return static_cast<double>(data.lastWriteTime.low);
}

void Bind(CStatement& statement, int parameter, const CQvStringW& value) { statement.BindText16(parameter, value); }
void Bind(CStatement& statement, int parameter, std::uint8_t value) { statement.BindInt(parameter, value); }
void Bind(CStatement& statement, int parameter, std::uint32_t value) {
  statement.BindInt(parameter, static_cast<std::int32_t>(value));
}
void Bind(CStatement& statement, int parameter, std::int64_t value) { statement.BindInt64(parameter, value); }
void Bind(CStatement& statement, int parameter, double value) { statement.BindDouble(parameter, value); }

void Read(CStatement& statement, int column, CQvStringW& value) { value = statement.GetText16(column); }
void Read(CStatement& statement, int column, std::uint8_t& value) {
  value = static_cast<std::uint8_t>(statement.GetInt(column));
}
void Read(CStatement& statement, int column, std::uint32_t& value) {
  value = static_cast<std::uint32_t>(statement.GetInt(column));
}
void Read(CStatement& statement, int column, std::int64_t& value) { value = statement.GetInt64(column); }
void Read(CStatement& statement, int column, double& value) { value = statement.GetDouble(column); }

void BindValues(CStatement& statement, const STextInformation& info) {
  int parameter = static_cast<int>(MetadataColumns().size() - MetadataValueColumns().size());
  for (const SMetadataColumn& column : MetadataValueColumns()) {
    // The table gives places to read from and to write to; here it is only read.
    std::visit([&](const auto* value) { Bind(statement, ++parameter, *value); },
               column.value(const_cast<STextInformation&>(info)));
  }
}

void ReadValues(CStatement& statement, STextInformation& info) {
  int number = 0;
  for (const SMetadataColumn& column : MetadataValueColumns()) {
    std::visit([&](auto* value) { Read(statement, number++, *value); }, column.value(info));
  }
}

}  // namespace

bool ReadFileTextInfoFromDatabase(sqlite3* db, const CQvStringW& path, STextInformation& info) {
  if (!db) return false;
  static const std::string kSelect = "SELECT " + JoinMetadataColumns(EMetadataPart::Name, MetadataValueColumns()) +
                                     " FROM metadata WHERE filename = :FN AND lastWritten = :LW";
  CStatement statement(db, kSelect);
  statement.BindText16(1, path);
  statement.BindDouble(2, GetLastWriteStamp(path));
  const int res = statement.Step();
  if (res != SQLITE_DONE && res != SQLITE_ROW) ReportAssertion(messages::kReadTextInfoFailed);
  if (res != SQLITE_ROW) return false;
  ReadValues(statement, info);
  return true;
}

void SaveFileTextInfoToDatabase(sqlite3* db, const CQvStringW& path, const STextInformation& info) {
  if (!db) return;
  // Before the connection is held: to look a file up may take as long as its disk likes.
  const double stamp = GetLastWriteStamp(path);
  // Both qualities of a file may be saved at once, and the file has one row.
  const CConnectionLock connection(db);
  CStatement remove(db, "DELETE FROM metadata WHERE filename = :FN");
  remove.BindText16(1, path);
  if (remove.Step() != SQLITE_DONE) {
    remove.ResetAndLeave();
    return;
  }
  remove.Finalize();
  static const std::string kInsert = "INSERT INTO metadata (" + JoinMetadataColumns(EMetadataPart::Name) +
                                     ") VALUES (" + JoinMetadataColumns(EMetadataPart::Parameter) + ")";
  CStatement insert(db, kInsert);
  insert.BindText16(1, path);
  insert.BindDouble(2, stamp);
  BindValues(insert, info);
  RunAndReport(db, insert, kSaveMessages);
}

bool GetFileTextInfo(sqlite3* db, const CQvStringW& path, STextInformation& info) {
  if (ReadFileTextInfoFromDatabase(db, path, info)) return true;
  if (!ExtractFileTextInfo(path, info)) return false;
  SaveFileTextInfoToDatabase(db, path, info);
  return true;
}
