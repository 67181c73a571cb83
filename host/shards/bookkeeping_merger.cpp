#include "host/shards/bookkeeping_merger.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qvhost {
namespace {

// The stored items have the same numbers in both, so that two different items cannot both stay.
void RequireEqualItems(SQLite::Database& db) {
  SQLite::Statement row(db,
                        "SELECT theirs.storedID FROM source.stored theirs JOIN main.stored ours USING (storedID) "
                        "WHERE theirs.storedParentID IS NOT ours.storedParentID OR theirs.filename IS NOT "
                        "ours.filename OR theirs.flags IS NOT ours.flags ORDER BY 1 LIMIT 1");
  if (!row.executeStep()) return;
  throw CHostError(fmt::format("item {} of its stored tree is another than item {} that is there",
                               row.getColumn(0).getInt64(), row.getColumn(0).getInt64()),
                   kExitSomeFailed);
}

std::int64_t MergeStoredItems(SQLite::Database& db) {
  RequireEqualItems(db);
  return db.exec(
      "INSERT OR IGNORE INTO main.stored (storedID, storedParentID, filename, flags) "
      "SELECT storedID, storedParentID, filename, flags FROM source.stored WHERE storedID NOT NULL");
}

void MakeNumberTables(SQLite::Database& db) {
  db.exec(
      "CREATE TEMP TABLE IF NOT EXISTS experimentNumbers (theirs INTEGER PRIMARY KEY, ours INTEGER);"
      "DELETE FROM experimentNumbers;"
      "CREATE TEMP TABLE IF NOT EXISTS experimentHashes (hash INTEGER, ours INTEGER);"
      "CREATE INDEX IF NOT EXISTS temp.experimentHash ON experimentHashes (hash);"
      "DELETE FROM experimentHashes;"
      "INSERT INTO experimentHashes SELECT hashCRC, experimentID FROM main.experiments");
}

// Gives every experiment of theirs a number of ours, which `experimentNumbers` tells afterwards.
class CExperimentMerger {
 public:
  explicit CExperimentMerger(SQLite::Database& db)
      : m_db(db),
        m_find(db,
               "SELECT ours.experimentID FROM source.experiments theirs JOIN experimentHashes known ON known.hash = "
               "theirs.hashCRC JOIN main.experiments ours ON ours.experimentID = known.ours WHERE theirs.experimentID "
               "= ?1 AND ours.liteVariant IS theirs.liteVariant AND ifnull(ours.picturePlanes, x'') = "
               "ifnull(theirs.picturePlanes, x'')"),
        m_renew(db,
                "UPDATE main.experiments SET M_acqTime = theirs.M_acqTime FROM source.experiments theirs WHERE "
                "theirs.experimentID = ?1 AND main.experiments.experimentID = ?2 AND main.experiments.M_acqTime < "
                "theirs.M_acqTime"),
        m_add(db,
              "INSERT INTO main.experiments (M_acqTime, liteVariant, picturePlanes, storedID, hashCRC) SELECT "
              "M_acqTime, liteVariant, picturePlanes, storedID, hashCRC FROM source.experiments WHERE experimentID = "
              "?1"),
        m_know(db, "INSERT INTO experimentHashes SELECT hashCRC, ?2 FROM source.experiments WHERE experimentID = ?1"),
        m_note(db, "INSERT INTO experimentNumbers VALUES (?1, ?2)") {}

  // Whether it is new here.
  bool Merge(std::int64_t number) {
    m_find.bind(1, number);
    const bool isKnown = m_find.executeStep();
    std::int64_t ours = isKnown ? m_find.getColumn(0).getInt64() : 0;
    m_find.reset();
    if (isKnown) {
      RunWith(m_renew, number, ours);
    } else {
      m_add.bind(1, number);
      m_add.exec();
      m_add.reset();
      ours = m_db.getLastInsertRowid();
      RunWith(m_know, number, ours);
    }
    RunWith(m_note, number, ours);
    return !isKnown;
  }

 private:
  static void RunWith(SQLite::Statement& statement, std::int64_t theirs, std::int64_t ours) {
    SQLite::bind(statement, theirs, ours);
    statement.exec();
    statement.reset();
  }

  SQLite::Database& m_db;
  SQLite::Statement m_find, m_renew, m_add, m_know, m_note;
};

std::int64_t MergeExperiments(SQLite::Database& db) {
  MakeNumberTables(db);
  CExperimentMerger merger(db);
  std::int64_t added = 0;
  SQLite::Statement theirs(db, "SELECT experimentID FROM source.experiments ORDER BY experimentID");
  while (theirs.executeStep()) added += merger.Merge(theirs.getColumn(0).getInt64()) ? 1 : 0;
  return added;
}

// A number that leads to no experiment of theirs must not lead to one of ours.
std::int64_t MergeHistory(SQLite::Database& db) {
  return db.exec(
      "INSERT OR IGNORE INTO main.history (filename, userID, M_acqTime, experimentID) "
      "SELECT filename, userID, M_acqTime, ifnull((SELECT ours FROM experimentNumbers WHERE theirs = h.experimentID), "
      "0) FROM source.history h WHERE filename NOT NULL");
}

}  // namespace

SBookkeepingCounts MergeBookkeeping(SQLite::Database& db) {
  SBookkeepingCounts counts;
  counts.stored = MergeStoredItems(db);
  counts.experiments = MergeExperiments(db);
  counts.history = MergeHistory(db);
  const auto theirs = db.execAndGet("SELECT count(*) FROM source.history WHERE filename NOT NULL").getInt64();
  counts.keptHistory = theirs - counts.history;
  return counts;
}

}  // namespace qvhost
