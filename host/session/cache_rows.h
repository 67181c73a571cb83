#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/session/sqlite.h"
#include "system/qvthumbnaildescription.h"

namespace qvhost {

// What the database holds of a thumbnail, apart from its picture.
struct SCacheRow {
  double lastWritten = 0.0;  // Julian day number of the source when the thumbnail was made
  bool highQuality = false;
};

// Looks into the rows of the cache database through a connection of the host's own, read-only, because the service
// tells whether a thumbnail is there but not whether it was made just now. The tables are described in
// docs/database.md. Throws CHostError or SQLite::Exception. One thread.
class CCacheRows {
 public:
  explicit CCacheRows(const std::string& databasePath);
  // Of another database, which is open already.
  explicit CCacheRows(SQLite::Database db);

  // Under which name a thumbnail stands in the rows.
  static std::string NameOf(const SQvThumbnailDescription& description);

  // A row without a picture counts as none.
  std::optional<SCacheRow> Find(const SQvThumbnailDescription& description);
  // True when the row is there, as new as the description says, and in at least the quality that it asks for: a viewer
  // would show it as it is.
  bool IsCurrent(const SQvThumbnailDescription& description);
  static bool IsCurrent(const SCacheRow& row, const SQvThumbnailDescription& description) noexcept;
  // Everything that is looked up inside is read in one transaction, which is to be short.
  void ReadTogether(const std::function<void()>& lookUp);
  // The JPEG stream of a row; empty when there is none.
  std::string ReadJpeg(const SQvThumbnailDescription& description);

 private:
  SQLite::Database m_db;  // goes last
  SQLite::Statement m_find;
  SQLite::Statement m_read;
};

}  // namespace qvhost
