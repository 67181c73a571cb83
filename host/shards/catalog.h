#pragma once

#include <cstdint>
#include <string>

#include "host/session/cache_rows.h"
#include "host/session/sqlite.h"
#include "host/shards/row_merger.h"
#include "host/shards/shard_settings.h"

namespace qvhost {

// A published database that thumbnails are taken from instead of being made. It is opened as a file that nobody writes,
// so that it may lie on any network, be read by many, and may be nobody's to write. One thread.
class CCatalog {
 public:
  // `own`: the database to copy into, with its tables; `settings`: what its thumbnails are made with. Throws CHostError
  // when the catalogue cannot be used for that one, with the reason.
  CCatalog(const std::string& path, const std::string& own, const SShardSettings& settings);

  // Copies a thumbnail that is as new as the description says, and its texts. False when there is none, or when it
  // cannot be copied now. Throws CHostError when nothing can be copied any more.
  bool Supply(const SQvThumbnailDescription& wanted);
  // How many were copied.
  std::int64_t Supplied() const noexcept { return m_supplied; }

 private:
  SQLite::Database m_own;
  CCacheRows m_rows;
  CRowMerger m_merger;
  std::int64_t m_supplied = 0;
};

}  // namespace qvhost
