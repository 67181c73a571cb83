#include "host/rescue/row_writer.h"

#include <fmt/format.h>

#include "host/shards/merge_record.h"

namespace qvhost {
namespace {

struct SKey {
  const char* columns;
  const char* time;  // null: the first of two stays
};

SKey KeyOf(ETable table) {
  switch (table) {
    case ETable::Experiments:
      return {"experimentID", "M_acqTime"};
    case ETable::History:
      return {"filename", "M_acqTime"};
    case ETable::Stored:
      return {"storedID", nullptr};
    case ETable::Merged:
      return {"digest", nullptr};
    case ETable::Cache:
      return {"filename, flags", "lastWritten"};
    case ETable::Metadata:
      break;
  }
  return {"filename", nullptr};
}

std::string InsertText(ETable table) {
  std::string names, places, changes;
  for (const std::string& column : ColumnsOf(table)) {
    const char* comma = names.empty() ? "" : ", ";
    names += comma + column;
    places += std::string(comma) + "?";
    changes += fmt::format("{0}{1} = excluded.{1}", comma, column);
  }
  const SKey key = KeyOf(table);
  std::string text =
      fmt::format("INSERT INTO {} ({}) VALUES ({}) ON CONFLICT ({}) DO ", NameOf(table), names, places, key.columns);
  return key.time ? text + fmt::format("UPDATE SET {0} WHERE excluded.{1} > {2}.{1}", changes, key.time, NameOf(table))
                  : text + "NOTHING";
}

void Bind(SQLite::Statement& statement, int at, const SRecordValue& value) {
  switch (value.kind) {
    case EValueKind::Null:
      return statement.bind(at);
    case EValueKind::Integer:
      return statement.bind(at, value.integer);
    case EValueKind::Real:
      return statement.bind(at, value.real);
    case EValueKind::Text:
      return statement.bind(at, std::string(value.bytes));
    case EValueKind::Blob:
      return statement.bindNoCopy(at, value.bytes.data(), static_cast<int>(value.bytes.size()));
  }
}

}  // namespace

void CRowWriter::Put(ETable table, const CRecord& row) {
  auto& insert = m_inserts[static_cast<std::size_t>(table)];
  if (!insert) {
    if (table == ETable::Merged) MakeMergeRecord(m_db);
    insert.emplace(m_db, InsertText(table));
  }
  for (std::size_t i = 0; i < row.size(); ++i) Bind(*insert, static_cast<int>(i) + 1, row[i]);
  insert->exec();
  insert->reset();
}

}  // namespace qvhost
