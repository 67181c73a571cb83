#include "host/shards/shard_run.h"

#include "host/output/time_text.h"
#include "host/session/sqlite.h"

namespace qvhost {
namespace {

void SetJournalMode(const std::string& database, const char* pragma) {
  OpenConnection(database, SQLite::OPEN_READWRITE).exec(pragma);
}

}  // namespace

CShardRun::CShardRun(const SShard& shard, const std::string& database)
    : m_database(ShardDatabasePath(database, shard)), m_lock(m_database) {
  m_manifest.shard = shard;
  m_manifest.begun = JulianDayNow();
}

void CShardRun::Begin() {
  // Only this machine writes to it, as the lock says, so that the log's shared memory will do also on a network.
  SetJournalMode(m_database, "PRAGMA journal_mode=WAL");
  WriteManifest(m_database, m_manifest);
}

void CShardRun::End(bool completed) {
  SetJournalMode(m_database, "PRAGMA journal_mode=DELETE");
  m_manifest.isComplete = completed;
  m_manifest.ended = JulianDayNow();
  WriteManifest(m_database, m_manifest);
}

}  // namespace qvhost
