#include "host/find/row_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <utility>

#include "host/session/interrupt.h"

namespace qvhost {
namespace {

// Rows are written at the end of a table, under a number one higher than the highest. So many from there on show that
// the table has only grown, because one that was removed from the end and written anew has another mark.
constexpr std::int64_t kTailRows = 1000;

// The columns of `picture` that refer to rows, as EKnownKind counts.
constexpr std::array<const char*, 4> kReferences = {"standardRow", "highRow", "textRow", "historyRow"};

const char* CountNote(EKnownTable table) {
  constexpr const char* kNames[] = {"cacheRows", "metadataRows", "historyRows"};
  return kNames[static_cast<int>(table)];
}

}  // namespace

CRowComparison::CRowComparison(CSearchIndex& index, const CKnownRows& rows)
    : m_index(index),
      m_db(index.Connection()),
      m_rows(rows),
      m_find(m_db, "SELECT id, standardRow, highRow, textRow, historyRow FROM picture WHERE location = ?1"),
      m_addPicture(m_db, "INSERT INTO picture (location) VALUES (?1)"),
      m_addRow(m_db, "INSERT INTO seen VALUES (?1, ?2, ?3, ?4)"),
      m_removeRow(m_db, "DELETE FROM seen WHERE source = ?1 AND row = ?2 RETURNING picture"),
      m_forget(m_db,
               "UPDATE picture SET standardRow = nullif(standardRow, CASE WHEN ?1 = 0 THEN ?2 END), "
               "highRow = nullif(highRow, CASE WHEN ?1 = 0 THEN ?2 END), "
               "textRow = nullif(textRow, CASE WHEN ?1 = 1 THEN ?2 END), "
               "historyRow = nullif(historyRow, CASE WHEN ?1 = 2 THEN ?2 END) WHERE id = ?3") {
  for (std::size_t kind = 0; kind < kReferences.size(); ++kind) {
    m_refer[kind].emplace(m_db, fmt::format("UPDATE picture SET {} = ?2 WHERE id = ?1", kReferences[kind]));
  }
}

void CRowComparison::Compare(EKnownTable table) {
  std::int64_t count = m_index.NumberNote(CountNote(table));
  const std::int64_t before = m_rows.Count(table);
  // A record of the history may be changed where it stands.
  const std::int64_t first = table == EKnownTable::History ? 0 : FirstOfTail(table);
  CompareFrom(table, first, &count);
  // What was removed further up shows in the number of rows, to which others may add meanwhile.
  if (first > 0 && (count < before || count > m_rows.Count(table))) CompareFrom(table, 0, &count);
  m_index.SetNote(CountNote(table), count);
}

std::vector<std::int64_t> CRowComparison::TakeChangedPictures() {
  std::sort(m_changed.begin(), m_changed.end());
  m_changed.erase(std::unique(m_changed.begin(), m_changed.end()), m_changed.end());
  return std::exchange(m_changed, {});
}

// 0 for a table that has fewer.
std::int64_t CRowComparison::FirstOfTail(EKnownTable table) {
  SQLite::Statement row(m_db, "SELECT row FROM seen WHERE source = ?1 ORDER BY row DESC LIMIT 1 OFFSET ?2");
  SQLite::bind(row, static_cast<int>(table), kTailRows - 1);
  return row.executeStep() ? row.getColumn(0).getInt64() : 0;
}

void CRowComparison::CompareFrom(EKnownTable table, std::int64_t first, std::int64_t* count) {
  std::unordered_map<std::int64_t, std::int64_t> marks;
  SQLite::Statement seen(m_db, "SELECT row, mark FROM seen WHERE source = ?1 AND row >= ?2");
  SQLite::bind(seen, static_cast<int>(table), first);
  while (seen.executeStep()) marks.emplace(seen.getColumn(0).getInt64(), seen.getColumn(1).getInt64());
  seen.reset();
  std::vector<SKnownRow> added;
  m_rows.ForEach(table, first, [&](SKnownRow row) {
    CInterrupt::ThrowIfRequested(kIndexingInterrupted);
    const auto known = marks.find(row.row);
    if (known != marks.end() && known->second == row.mark) {
      marks.erase(known);
    } else if (marks.empty()) {
      *count += Add(table, row);
    } else {
      added.push_back(std::move(row));
    }
  });
  // Whatever is left has gone or changed.
  for (const auto& [row, mark] : marks) Remove(table, row);
  *count -= static_cast<std::int64_t>(marks.size());
  for (const SKnownRow& row : added) *count += Add(table, row);
}

CRowComparison::SPicture CRowComparison::PictureOf(const SKnownRow& row) {
  SPicture picture;
  m_find.bind(1, row.location);
  if (m_find.executeStep()) {
    picture = {m_find.getColumn(0).getInt64(), m_find.getColumn(1 + static_cast<int>(row.kind)).getInt64()};
  }
  m_find.reset();
  if (picture.id != 0) return picture;
  m_addPicture.bind(1, row.location);
  m_addPicture.exec();
  m_addPicture.reset();
  picture.id = m_db.getLastInsertRowid();
  return picture;
}

int CRowComparison::Add(EKnownTable table, const SKnownRow& row) {
  const SPicture picture = PictureOf(row);
  // A row that is written anew gets another number, and the one before is gone.
  const bool isReplaced = picture.rowBefore != 0 && !m_rows.HasRow(table, picture.rowBefore);
  if (isReplaced) Remove(table, picture.rowBefore);
  SQLite::bind(m_addRow, static_cast<int>(table), row.row, row.mark, picture.id);
  m_addRow.exec();
  m_addRow.reset();
  SQLite::Statement& refer = *m_refer[static_cast<std::size_t>(row.kind)];
  SQLite::bind(refer, picture.id, row.row);
  refer.exec();
  refer.reset();
  m_changed.push_back(picture.id);
  return isReplaced ? 0 : 1;
}

void CRowComparison::Remove(EKnownTable table, std::int64_t row) {
  SQLite::bind(m_removeRow, static_cast<int>(table), row);
  const std::int64_t picture = m_removeRow.executeStep() ? m_removeRow.getColumn(0).getInt64() : 0;
  m_removeRow.reset();
  SQLite::bind(m_forget, static_cast<int>(table), row, picture);
  m_forget.exec();
  m_forget.reset();
  m_changed.push_back(picture);
}

}  // namespace qvhost
