#pragma once

#include <string>

#include "host/shards/shard_lock.h"
#include "host/shards/shard_manifest.h"

namespace qvhost {

// The making of one shard: holds its lock, and keeps its manifest beside its database.
class CShardRun {
 public:
  // `database` is the file that the shards will be merged into. Throws CHostError when another process is at it.
  CShardRun(const SShard& shard, const std::string& database);

  const std::string& Database() const noexcept { return m_database; }
  // What is known before the work; the shard and the time are filled in.
  SShardManifest& Manifest() noexcept { return m_manifest; }

  // To call once the database is open. From here on the shard counts as unfinished.
  void Begin();
  // To call once the database is closed, with what became of the work in the manifest. Leaves one file that needs no
  // log, to be copied and read as it is. Throws CHostError.
  void End(bool completed);

 private:
  const std::string m_database;
  const CShardLock m_lock;
  SShardManifest m_manifest;
};

}  // namespace qvhost
