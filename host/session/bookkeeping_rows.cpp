#include "host/session/bookkeeping_rows.h"

namespace qvhost {

CBookkeepingRows::CBookkeepingRows(const std::string& databasePath) : m_db(OpenForReading(databasePath)) {}

std::vector<int> CBookkeepingRows::ExperimentIDs() const {
  SQLite::Statement rows(m_db, "SELECT experimentID FROM experiments ORDER BY experimentID");
  std::vector<int> ids;
  while (rows.executeStep()) ids.push_back(rows.getColumn(0).getInt());
  return ids;
}

bool CBookkeepingRows::HasExperiment(int experimentID) const {
  SQLite::Statement row(m_db, "SELECT 1 FROM experiments WHERE experimentID = ?1");
  row.bind(1, experimentID);
  return row.executeStep();
}

std::int64_t CBookkeepingRows::CountHistory(int experimentID) const {
  SQLite::Statement row(m_db, "SELECT count(*) FROM history WHERE experimentID = ?1");
  row.bind(1, experimentID);
  return row.executeStep() ? row.getColumn(0).getInt64() : 0;
}

}  // namespace qvhost
