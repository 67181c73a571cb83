#include "gnr_thumbnailcache/textinfo/metadata_table.h"

#include "gnr_thumbnailcache/base/diagnostics.h"
#include "gnr_thumbnailcache/database/metadata_columns.h"
#include "gnr_thumbnailcache/database/statement.h"
#include "gnr_thumbnailcache/textinfo/changed_file.h"
#include "gnr_thumbnailcache/textinfo/extraction.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace {

constexpr SWriteMessages kSaveMessages = {messages::kSaveTextInfoStepFailed, messages::kSaveTextInfoFinalizeFailed};

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

// False when the file says nothing. A row of another size than the file's is not valid, unless the image-format manager
// counts sizes in a way of its own, more than one file for instance.
bool ReplaceRow(sqlite3* db, const CQvStringW& path, const SFileStamp& stamp, CYoungFiles& youngFiles,
                STextInformation* row, STextInformation& info) {
  const SFileReading reading = BeginFileReading(path);
  if (!ExtractFileTextInfo(path, info)) return false;
  if (row && (info.fileSize == row->fileSize || info.fileSize != stamp.size)) {
    info = std::move(*row);
    return true;
  }
  if (row) ForgetStoredThumbnails(db, path);
  if (!reading.IsWorthStoring()) return true;
  SaveFileTextInfoToDatabase(db, path, stamp, info);
  youngFiles.Remember(path.Str(), reading);
  return true;
}

}  // namespace

// The high half of the time is left out on purpose: stamps in existing files were written so.
SFileStamp TakeFileStamp(const CQvStringW& path) {
  SQvFindData data;
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(path.c_str(), &data, &find) == kQvOk) QV_FindFileClose(find);
  return {static_cast<double>(data.lastWriteTime.low), data.size};
}

bool ReadFileTextInfoFromDatabase(sqlite3* db, const CQvStringW& path, const SFileStamp& stamp,
                                  STextInformation& info) {
  if (!db) return false;
  static const std::string kSelect = "SELECT " + JoinMetadataColumns(EMetadataPart::Name, MetadataValueColumns()) +
                                     " FROM metadata WHERE filename = :FN AND lastWritten = :LW";
  CStatement statement(db, kSelect);
  statement.BindText16(1, path);
  statement.BindDouble(2, stamp.lastWritten);
  const int res = statement.Step();
  if (res != SQLITE_DONE && res != SQLITE_ROW) ReportAssertion(messages::kReadTextInfoFailed);
  if (res != SQLITE_ROW) return false;
  STextInformation row = info;
  ReadValues(statement, row);
  // Texts for which there was no memory read as empty; only the end tells.
  if (statement.Finalize() != SQLITE_OK) return false;
  info = std::move(row);
  return true;
}

void SaveFileTextInfoToDatabase(sqlite3* db, const CQvStringW& path, const SFileStamp& stamp,
                                const STextInformation& info) {
  if (!db) return;
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
  insert.BindDouble(2, stamp.lastWritten);
  BindValues(insert, info);
  RunAndReport(db, insert, kSaveMessages);
}

bool GetFileTextInfo(sqlite3* db, const CQvStringW& path, CYoungFiles& youngFiles, STextInformation& info) {
  if (!db) return ExtractFileTextInfo(path, info);
  const SFileStamp stamp = TakeFileStamp(path);
  STextInformation row = info;
  const bool found = ReadFileTextInfoFromDatabase(db, path, stamp, row) && !youngFiles.IsOutdated(path.Str(), path);
  if (found && (row.fileSize == stamp.size || !HasAnotherSize(path, row.fileSize))) {
    info = std::move(row);
    return true;
  }
  return ReplaceRow(db, path, stamp, youngFiles, found ? &row : nullptr, info);
}
