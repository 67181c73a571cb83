#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/session/sqlite.h"

namespace qvhost {

// What became of thumbnails that were merged into a database.
struct SMergeCounts {
  std::int64_t added = 0, replaced = 0, kept = 0;
  std::int64_t texts = 0;  // text informations that were written

  std::int64_t Thumbnails() const noexcept { return added + replaced + kept; }
};

// The name under which the text information of a thumbnail's file stands: the same but for bytes that are no UTF-8.
std::string TextRowName(const std::string& thumbnailName);

// Copies thumbnails and text information from one database into another. Names are keys as they stand. The newer
// thumbnail wins, of two of one time the one of higher quality, else the one that is there. The text information comes
// from the side whose thumbnail won, or from either when nothing speaks against it. Throws SQLite::Exception.
class CRowMerger {
 public:
  // `db` is the database to copy into, with the other one attached as `source`.
  explicit CRowMerger(SQLite::Database& db);

  void MergeFile(const std::string& name, SMergeCounts* counts);
  // Texts of files that the source has no thumbnail of, where there are none yet.
  void MergeLooseTexts(SMergeCounts* counts);

 private:
  struct SRow {
    std::int64_t flags = 0;
    double lastWritten = 0.0;
    std::int64_t quality = 0;

    bool IsBetterThan(const SRow& other) const noexcept {
      return lastWritten > other.lastWritten || (lastWritten == other.lastWritten && quality > other.quality);
    }
  };
  static std::vector<SRow> ReadRows(SQLite::Statement& select, const std::string& name);
  // Null when there is none.
  static const SRow* FindBest(const std::vector<SRow>& rows);
  void MergeTexts(const std::string& name, const SRow& theirs, const SRow* ours, SMergeCounts* counts);

  SQLite::Statement m_theirs, m_ours;
  SQLite::Statement m_copy;
  SQLite::Statement m_addTexts, m_replaceTexts, m_removeTexts;
  SQLite::Statement m_addLooseTexts;
};

}  // namespace qvhost
