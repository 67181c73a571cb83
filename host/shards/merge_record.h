#pragma once

#include <optional>
#include <string>

#include "host/session/sqlite.h"
#include "host/shards/shard_settings.h"

namespace qvhost {

// What a database remembers of the shards that were merged into it: a table of its own, `merged`, that the service does
// not know. Throw SQLite::Exception.

// The settings of what was merged last. Nothing when nothing was.
std::optional<SShardSettings> ReadMergedSettings(const SQLite::Database& db);

// What makes the rows of the database that is attached as `source` count in a merge, as a text; with `books` history,
// experiments and stored items as well. Equal for the same rows in another order.
std::string DigestOfSource(const SQLite::Database& db, bool books);

bool WasMerged(const SQLite::Database& db, const std::string& digest);
// The table, empty, when it is missing.
void MakeMergeRecord(SQLite::Database& db);
void RecordMerge(SQLite::Database& db, const std::string& digest, const std::string& shard,
                 const SShardSettings& settings);

}  // namespace qvhost
