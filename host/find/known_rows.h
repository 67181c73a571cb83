#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "host/files/text_info.h"
#include "host/session/sqlite.h"

namespace qvhost {

// The tables of a thumbnail database that tell of pictures.
enum class EKnownTable { Cache, Metadata, History };
constexpr EKnownTable kKnownTables[] = {EKnownTable::Cache, EKnownTable::Metadata, EKnownTable::History};

// What a picture has at most one row for.
enum class EKnownKind { StandardThumbnail, HighThumbnail, Texts, Record };

// A row of one of them, as far as it takes to notice that it has changed.
struct SKnownRow {
  std::int64_t row = 0;
  std::int64_t mark = 0;  // a hash of what tells that the row is another one
  std::string location;   // of the picture, in lower case
  EKnownKind kind = EKnownKind::StandardThumbnail;
};

// What the history says of a picture.
struct SKnownRecord {
  std::string user;
  double time = 0.0;  // Julian day number
  std::int64_t experiment = 0;
};

// Reads these tables for a search. Nothing is held for long, so that whoever writes is not held up. Throws
// SQLite::Exception. One thread.
class CKnownRows {
 public:
  explicit CKnownRows(SQLite::Database& db) : m_db(db) {}

  std::int64_t Count(EKnownTable table) const;
  bool HasRow(EKnownTable table, std::int64_t row) const;
  // Hands over the rows with these numbers and all higher ones, in no particular order.
  void ForEach(EKnownTable table, std::int64_t first, const std::function<void(SKnownRow row)>& take) const;
  // What a row of `metadata` says; none when it is gone.
  std::optional<STextInfo> ReadTexts(std::int64_t row) const;
  // What a row of `history` says; none when it is gone.
  std::optional<SKnownRecord> ReadRecord(std::int64_t row) const;

 private:
  SQLite::Database& m_db;
  mutable std::optional<SQLite::Statement> m_texts, m_record;
};

}  // namespace qvhost
