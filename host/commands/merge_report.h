#pragma once

#include <memory>
#include <string>

#include "host/output/json.h"
#include "host/output/progress.h"
#include "host/shards/merger.h"

namespace qvhost {

// Tells what became of the databases that were to be merged.
class CMergeReport {
 public:
  explicit CMergeReport(bool json) : m_json(json) {}

  // How many thumbnails the databases that can be merged have together; the progress begins.
  void Begin(std::int64_t thumbnails);
  void OnThumbnail(const std::string& name);
  void OnMerged(const std::string& shard, const SMergedShard& merged);
  void OnFailed(const std::string& shard, const std::string& reason);

  // The last line, or the document. Returns the command's exit status.
  int Print(const std::string& database, bool completed);

 private:
  const bool m_json;
  std::unique_ptr<CProgress> m_progress;
  std::int64_t m_looked = 0, m_merged = 0, m_before = 0;
  SMergeCounts m_counts;
  CJson m_shards = CJson::array(), m_failures = CJson::array();
};

}  // namespace qvhost
