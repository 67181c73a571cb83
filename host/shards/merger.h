#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/session/sqlite.h"
#include "host/shards/bookkeeping_merger.h"
#include "host/shards/merge_record.h"
#include "host/shards/row_merger.h"
#include "host/shards/shard_source.h"

namespace qvhost {

struct SMergeOptions {
  bool books = false;  // history, experiments and stored items, too
  bool again = false;  // also what was merged before
};

struct SMergedShard {
  bool wasMerged = false;  // before; nothing was written
  SMergeCounts counts;
  SBookkeepingCounts books;
};

// Merges databases into one that holds the service's tables, each in one transaction.
class CMerger {
 public:
  // Throws CHostError.
  explicit CMerger(const std::string& path);

  // What its thumbnails were made with; nothing when nothing was merged into it so far.
  std::optional<SShardSettings> Settings() const { return ReadMergedSettings(m_db); }
  // `onThumbnail` is told of each that was looked at. All is written or nothing: throws CHostError when the source's
  // rows cannot be taken, or when interrupted, and SQLite::Exception.
  SMergedShard Merge(const CShardSource& source, const SShardSettings& settings, const SMergeOptions& options,
                     const std::function<void(const std::string& name)>& onThumbnail);

 private:
  void MergeRows(SMergeCounts* counts, const std::function<void(const std::string& name)>& onThumbnail);

  SQLite::Database m_db;
};

}  // namespace qvhost
