#include "host/shards/row_merger.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/session/database_form.h"
#include "host/session/stored_name.h"
#include "system/qvstring.h"

namespace qvhost {
namespace {

std::string SelectRows(const char* schema) {
  return fmt::format("SELECT flags, lastWritten, quality FROM {}.cache WHERE filename = ?1 AND length(binData) > 0",
                     schema);
}

// `verb`: what becomes of a row that is there. `which`: the rows to copy.
std::string CopyTexts(const char* verb, const char* which) {
  return fmt::format("INSERT OR {0} INTO main.metadata ({1}) SELECT {1} FROM source.metadata WHERE {2}", verb,
                     ColumnListOfForm("metadata"), which);
}

int Run(SQLite::Statement& statement) {
  const int changes = statement.exec();
  statement.reset();
  return changes;
}

}  // namespace

std::string TextRowName(const std::string& thumbnailName) {
  return PlainUtf8(CQvStringUtils::WtoUTF16(CQvStringUtils::UTF8toW(thumbnailName).c_str()));
}

CRowMerger::CRowMerger(SQLite::Database& db)
    : m_theirs(db, SelectRows("source")),
      m_ours(db, SelectRows("main")),
      // A row without a picture counts as none.
      m_copy(db,
             "INSERT OR REPLACE INTO main.cache (filename, flags, lastWritten, quality, binData) "
             "SELECT filename, flags, lastWritten, quality, binData FROM source.cache WHERE filename = ?1 AND flags = "
             "?2"),
      m_addTexts(db, CopyTexts("IGNORE", "filename = ?1")),
      m_replaceTexts(db, CopyTexts("REPLACE", "filename = ?1")),
      m_removeTexts(db, "DELETE FROM main.metadata WHERE filename = ?1"),
      m_addLooseTexts(db, CopyTexts("IGNORE",
                                    "filename NOT NULL AND NOT EXISTS "
                                    "(SELECT 1 FROM source.cache c WHERE c.filename = source.metadata.filename)")) {}

std::vector<CRowMerger::SRow> CRowMerger::ReadRows(SQLite::Statement& select, const std::string& name) {
  std::vector<SRow> rows;
  select.bind(1, name);
  while (select.executeStep()) {
    if (select.isColumnNull(0)) continue;
    rows.push_back({select.getColumn(0).getInt64(), select.getColumn(1).getDouble(), select.getColumn(2).getInt64()});
  }
  select.reset();
  return rows;
}

const CRowMerger::SRow* CRowMerger::FindBest(const std::vector<SRow>& rows) {
  const auto best =
      std::max_element(rows.begin(), rows.end(), [](const SRow& a, const SRow& b) { return b.IsBetterThan(a); });
  return best == rows.end() ? nullptr : &*best;
}

void CRowMerger::MergeFile(const std::string& name, SMergeCounts* counts) {
  const std::vector<SRow> theirs = ReadRows(m_theirs, name), ours = ReadRows(m_ours, name);
  for (const SRow& row : theirs) {
    const auto present =
        std::find_if(ours.begin(), ours.end(), [&row](const SRow& other) { return other.flags == row.flags; });
    const bool isNew = present == ours.end();
    ++(isNew ? counts->added : row.IsBetterThan(*present) ? counts->replaced : counts->kept);
    if (!isNew && !row.IsBetterThan(*present)) continue;
    SQLite::bind(m_copy, name, row.flags);
    Run(m_copy);
  }
  if (!theirs.empty()) MergeTexts(TextRowName(name), *FindBest(theirs), FindBest(ours), counts);
}

void CRowMerger::MergeTexts(const std::string& name, const SRow& theirs, const SRow* ours, SMergeCounts* counts) {
  if (ours && ours->IsBetterThan(theirs)) return;
  if (!ours || !theirs.IsBetterThan(*ours)) {
    m_addTexts.bind(1, name);
    counts->texts += Run(m_addTexts);
    return;
  }
  m_replaceTexts.bind(1, name);
  const int written = Run(m_replaceTexts);
  counts->texts += written;
  // The size of an older file would keep the newer thumbnail from being shown.
  if (written > 0 || theirs.lastWritten == ours->lastWritten) return;
  m_removeTexts.bind(1, name);
  Run(m_removeTexts);
}

void CRowMerger::MergeLooseTexts(SMergeCounts* counts) { counts->texts += Run(m_addLooseTexts); }

}  // namespace qvhost
