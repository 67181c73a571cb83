#include "host/shards/merger.h"

#include <fmt/format.h>

#include "host/host_error.h"
#include "host/session/interrupt.h"
#include "host/session/view_mark.h"

namespace qvhost {
namespace {

// The other database, for as long as it is needed.
class CAttached {
 public:
  CAttached(SQLite::Database& db, const std::string& uri) : m_db(db) {
    SQLite::Statement attach(db, "ATTACH DATABASE ?1 AS source");
    attach.bind(1, uri);
    attach.exec();
  }
  CAttached(const CAttached&) = delete;
  CAttached& operator=(const CAttached&) = delete;
  ~CAttached() { m_db.tryExec("DETACH DATABASE source"); }

 private:
  SQLite::Database& m_db;
};

}  // namespace

CMerger::CMerger(const std::string& path) : m_db(OpenConnection(path, SQLite::OPEN_READWRITE | SQLite::OPEN_URI)) {
  // 64 MiB: the pages of the index that a shard's rows go to.
  m_db.exec("PRAGMA main.cache_size = -65536");
}

SMergedShard CMerger::Merge(const CShardSource& source, const SShardSettings& settings, const SMergeOptions& options,
                            const std::function<void(const std::string& name)>& onThumbnail) {
  const CAttached attached(m_db, source.Uri());
  SQLite::Transaction transaction(m_db, SQLite::TransactionBehavior::IMMEDIATE);
  SMergedShard merged;
  const std::string digest = DigestOfSource(m_db, options.books);
  merged.wasMerged = !options.again && WasMerged(m_db, digest);
  if (merged.wasMerged) return merged;
  TakeView(source);
  MergeRows(&merged.counts, onThumbnail);
  if (options.books) merged.books = MergeBookkeeping(m_db);
  RecordMerge(m_db, digest, source.Path(), settings);
  transaction.commit();
  return merged;
}

// One without thumbnails takes the view of the first that come.
void CMerger::TakeView(const CShardSource& source) {
  if (ReadViewMark(m_db) == source.ViewMark() || source.Thumbnails() == 0) return;
  if (m_db.execAndGet("SELECT EXISTS (SELECT 1 FROM main.cache)").getInt() != 0) {
    throw CHostError("its thumbnails show another choice of planes, times, positions or channels", kExitSomeFailed);
  }
  m_db.exec(fmt::format("PRAGMA main.user_version = {}", source.ViewMark()));
}

void CMerger::MergeRows(SMergeCounts* counts, const std::function<void(const std::string& name)>& onThumbnail) {
  CRowMerger merger(m_db);
  // In the order of the names, so that neighbours lie together in the index, and those of one folder in the file.
  SQLite::Statement names(m_db, "SELECT DISTINCT filename FROM source.cache WHERE filename NOT NULL ORDER BY filename");
  while (names.executeStep()) {
    CInterrupt::ThrowIfRequested("interrupted");
    const std::string name = names.getColumn(0).getString();
    merger.MergeFile(name, counts);
    onThumbnail(name);
  }
  merger.MergeLooseTexts(counts);
}

}  // namespace qvhost
