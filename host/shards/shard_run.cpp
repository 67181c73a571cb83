#include "host/shards/shard_run.h"

#include <chrono>

#include "host/session/sqlite.h"

namespace qvhost {
namespace {

double Now() {
  constexpr double kUnixEpoch = 2440587.5;  // as a Julian day number
  const std::chrono::duration<double> since = std::chrono::system_clock::now().time_since_epoch();
  return kUnixEpoch + since.count() / 86400.0;
}

void SetJournalMode(const std::string& database, const char* pragma) {
  OpenConnection(database, SQLite::OPEN_READWRITE).exec(pragma);
}

}  // namespace

CShardRun::CShardRun(const SShard& shard, const std::string& database)
    : m_database(ShardDatabasePath(database, shard)), m_lock(m_database) {
  m_manifest.shard = shard;
  m_manifest.begun = Now();
}

void CShardRun::Begin() {
  // Only this machine writes to it, as the lock says, so that the log's shared memory will do also on a network.
  SetJournalMode(m_database, "PRAGMA journal_mode=WAL");
  WriteManifest(m_database, m_manifest);
}

void CShardRun::End(bool completed) {
  SetJournalMode(m_database, "PRAGMA journal_mode=DELETE");
  m_manifest.isComplete = completed;
  m_manifest.ended = Now();
  WriteManifest(m_database, m_manifest);
}

}  // namespace qvhost
