#include "host/find/index_update.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "host/find/picture_writer.h"
#include "host/output/progress.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

constexpr const char* kIndexingInterrupted = "interrupted; the search is prepared again the next time";

// Rows are written at the end of a table, under a number one higher than the highest. So many from there on show that
// the table has only grown, because one that was removed from the end and written anew has another mark.
constexpr std::int64_t kTailRows = 1000;

const char* CountNote(EKnownTable table) {
  constexpr const char* kNames[] = {"cacheRows", "metadataRows", "historyRows"};
  return kNames[static_cast<int>(table)];
}

// The column of `picture` that refers to the table's row.
const char* ReferenceColumn(EKnownTable table) { return table == EKnownTable::Metadata ? "textRow" : "historyRow"; }

class CRowComparison {
 public:
  CRowComparison(CSearchIndex& index, const CKnownRows& rows)
      : m_index(index),
        m_db(index.Connection()),
        m_rows(rows),
        m_find(m_db, "SELECT id FROM picture WHERE location = ?1"),
        m_addPicture(m_db, "INSERT INTO picture (location) VALUES (?1)"),
        m_addRow(m_db, "INSERT INTO seen VALUES (?1, ?2, ?3, ?4)"),
        m_removeRow(m_db, "DELETE FROM seen WHERE source = ?1 AND row = ?2 RETURNING picture"),
        m_countThumbnails(m_db, "UPDATE picture SET thumbnails = thumbnails + ?2 WHERE id = ?1") {}

  void Compare(EKnownTable table) {
    std::int64_t count = m_index.NumberNote(CountNote(table));
    const std::int64_t before = m_rows.Count(table);
    // A record of the history may be changed where it stands.
    const std::int64_t first = table == EKnownTable::History ? 0 : FirstOfTail(table);
    CompareFrom(table, first, &count);
    // What was removed further up shows in the number of rows, to which others may add meanwhile.
    if (first > 0 && (count < before || count > m_rows.Count(table))) CompareFrom(table, 0, &count);
    m_index.SetNote(CountNote(table), count);
  }

  // Each once, ascending.
  std::vector<std::int64_t> TakeChangedPictures() {
    std::sort(m_changed.begin(), m_changed.end());
    m_changed.erase(std::unique(m_changed.begin(), m_changed.end()), m_changed.end());
    return std::move(m_changed);
  }

 private:
  // 0 for a table that has fewer.
  std::int64_t FirstOfTail(EKnownTable table) {
    SQLite::Statement row(m_db, "SELECT row FROM seen WHERE source = ?1 ORDER BY row DESC LIMIT 1 OFFSET ?2");
    SQLite::bind(row, static_cast<int>(table), kTailRows - 1);
    return row.executeStep() ? row.getColumn(0).getInt64() : 0;
  }

  void CompareFrom(EKnownTable table, std::int64_t first, std::int64_t* count) {
    std::unordered_map<std::int64_t, std::int64_t> marks;
    SQLite::Statement seen(m_db, "SELECT row, mark FROM seen WHERE source = ?1 AND row >= ?2");
    SQLite::bind(seen, static_cast<int>(table), first);
    while (seen.executeStep()) marks.emplace(seen.getColumn(0).getInt64(), seen.getColumn(1).getInt64());
    seen.reset();
    m_rows.ForEach(table, first, [&](const SKnownRow& row) {
      CInterrupt::ThrowIfRequested(kIndexingInterrupted);
      const auto known = marks.find(row.row);
      const bool isKnown = known != marks.end();
      const bool isSame = isKnown && known->second == row.mark;
      if (isKnown) marks.erase(known);
      if (isSame) return;
      if (isKnown) Remove(table, row.row);
      Add(table, row);
      *count += isKnown ? 0 : 1;
    });
    for (const auto& [row, mark] : marks) Remove(table, row);
    *count -= static_cast<std::int64_t>(marks.size());
  }

  std::int64_t PictureAt(const std::string& location) {
    m_find.bind(1, location);
    std::int64_t id = m_find.executeStep() ? m_find.getColumn(0).getInt64() : 0;
    m_find.reset();
    if (id != 0) return id;
    m_addPicture.bind(1, location);
    m_addPicture.exec();
    m_addPicture.reset();
    return m_db.getLastInsertRowid();
  }

  void Add(EKnownTable table, const SKnownRow& row) {
    const std::int64_t picture = PictureAt(row.location);
    SQLite::bind(m_addRow, static_cast<int>(table), row.row, row.mark, picture);
    m_addRow.exec();
    m_addRow.reset();
    if (table == EKnownTable::Cache) {
      CountThumbnails(picture, 1);
    } else {
      SQLite::Statement refer(m_db, fmt::format("UPDATE picture SET {} = ?2 WHERE id = ?1", ReferenceColumn(table)));
      SQLite::bind(refer, picture, row.row);
      refer.exec();
    }
    m_changed.push_back(picture);
  }

  void Remove(EKnownTable table, std::int64_t row) {
    SQLite::bind(m_removeRow, static_cast<int>(table), row);
    const std::int64_t picture = m_removeRow.executeStep() ? m_removeRow.getColumn(0).getInt64() : 0;
    m_removeRow.reset();
    if (table == EKnownTable::Cache) {
      CountThumbnails(picture, -1);
    } else {
      SQLite::Statement forget(
          m_db, fmt::format("UPDATE picture SET {0} = NULL WHERE id = ?1 AND {0} = ?2", ReferenceColumn(table)));
      SQLite::bind(forget, picture, row);
      forget.exec();
    }
    m_changed.push_back(picture);
  }

  void CountThumbnails(std::int64_t picture, int more) {
    SQLite::bind(m_countThumbnails, picture, more);
    m_countThumbnails.exec();
    m_countThumbnails.reset();
  }

  CSearchIndex& m_index;
  SQLite::Database& m_db;
  const CKnownRows& m_rows;
  SQLite::Statement m_find, m_addPicture, m_addRow, m_removeRow, m_countThumbnails;
  std::vector<std::int64_t> m_changed;
};

}  // namespace

void UpdateSearchIndex(CSearchIndex& index, const CKnownRows& rows, const CFolding& folding, const std::string& stamp,
                       bool quiet) {
  if (!stamp.empty() && index.Note("stamp") == stamp) return;
  SQLite::Transaction transaction(index.Connection(), SQLite::TransactionBehavior::IMMEDIATE);
  CRowComparison comparison(index, rows);
  for (const EKnownTable table : kKnownTables) comparison.Compare(table);
  const std::vector<std::int64_t> changed = comparison.TakeChangedPictures();
  CPictureWriter writer(index, rows, folding);
  CProgress progress(static_cast<std::int64_t>(changed.size()), quiet);
  std::int64_t done = 0;
  for (const std::int64_t picture : changed) {
    CInterrupt::ThrowIfRequested(kIndexingInterrupted);
    writer.Write(picture);
    progress.Update(++done, "preparing the search");
  }
  progress.Finish();
  writer.Finish();
  index.SetNote("stamp", stamp);
  transaction.commit();
}

}  // namespace qvhost
