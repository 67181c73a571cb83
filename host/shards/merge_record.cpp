#include "host/shards/merge_record.h"

#include <fmt/format.h>

#include "host/shards/content_hash.h"

namespace qvhost {
namespace {

// Hash of a row, whatever its columns are.
std::uint64_t HashOfRow(SQLite::Statement& row) {
  CContentHash hash;
  for (int i = 0; i < row.getColumnCount(); ++i) {
    const SQLite::Column column = row.getColumn(i);
    hash.Add(std::int64_t{column.getType()});
    if (column.isInteger()) {
      hash.Add(column.getInt64());
    } else if (column.isFloat()) {
      hash.Add(column.getDouble());
    } else if (!column.isNull()) {
      const void* const bytes = column.getBlob();
      hash.Add(std::string_view(static_cast<const char*>(bytes), static_cast<std::size_t>(column.getBytes())));
    }
  }
  return hash.Value();
}

// Sums do not depend on the order.
std::uint64_t SumOfRows(const SQLite::Database& db, const char* query) {
  std::uint64_t sum = 0;
  for (SQLite::Statement rows(db, query); rows.executeStep();) sum += HashOfRow(rows);
  return sum;
}

}  // namespace

std::optional<SShardSettings> ReadMergedSettings(const SQLite::Database& db) {
  if (!db.tableExists("merged")) return std::nullopt;
  SQLite::Statement row(db, "SELECT settings FROM merged ORDER BY rowid DESC LIMIT 1");
  if (!row.executeStep()) return std::nullopt;
  return SettingsFromJson(CJson::parse(row.getColumn(0).getString(), nullptr, false));
}

std::string DigestOfSource(const SQLite::Database& db, bool books) {
  CContentHash digest;
  const auto add = [&](const char* query) { digest.Add(static_cast<std::int64_t>(SumOfRows(db, query))); };
  add("SELECT filename, flags, lastWritten, quality, length(binData) FROM source.cache");
  add("SELECT filename, lastWritten, M_fileSize FROM source.metadata");
  if (books) {
    add("SELECT experimentID, hashCRC, M_acqTime, storedID FROM source.experiments");
    add("SELECT filename, userID, M_acqTime, experimentID FROM source.history");
    add("SELECT storedID, storedParentID, filename, flags FROM source.stored");
  }
  return fmt::format("{:016x}{}", digest.Value(), books ? "+books" : "");
}

bool WasMerged(const SQLite::Database& db, const std::string& digest) {
  if (!db.tableExists("merged")) return false;
  SQLite::Statement row(db, "SELECT 1 FROM merged WHERE digest = ?1");
  row.bind(1, digest);
  return row.executeStep();
}

void MakeMergeRecord(SQLite::Database& db) {
  db.exec("CREATE TABLE IF NOT EXISTS main.merged (digest TEXT PRIMARY KEY, shard TEXT, mergedAt REAL, settings TEXT)");
}

void RecordMerge(SQLite::Database& db, const std::string& digest, const std::string& shard,
                 const SShardSettings& settings) {
  MakeMergeRecord(db);
  SQLite::Statement row(db, "INSERT OR REPLACE INTO main.merged VALUES (?1, ?2, julianday('now'), ?3)");
  SQLite::bind(row, digest, shard, FormatJson(ToJson(settings)));
  row.exec();
}

}  // namespace qvhost
