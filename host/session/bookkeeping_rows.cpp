#include "host/session/bookkeeping_rows.h"

namespace qvhost {

CBookkeepingRows::CBookkeepingRows(const std::string& databasePath) : m_db(OpenForReading(databasePath)) {}

std::vector<int> CBookkeepingRows::ExperimentIDs() const {
  CStatement rows = m_db.Prepare("SELECT experimentID FROM experiments ORDER BY experimentID");
  std::vector<int> ids;
  while (rows.Step()) ids.push_back(static_cast<int>(rows.Int(0)));
  return ids;
}

bool CBookkeepingRows::HasExperiment(int experimentID) const {
  CStatement row = m_db.Prepare("SELECT 1 FROM experiments WHERE experimentID = ?1");
  return row.Bind(1, static_cast<std::int64_t>(experimentID)).Step();
}

std::int64_t CBookkeepingRows::CountHistory(int experimentID) const {
  CStatement row = m_db.Prepare("SELECT count(*) FROM history WHERE experimentID = ?1");
  return row.Bind(1, static_cast<std::int64_t>(experimentID)).Step() ? row.Int(0) : 0;
}

}  // namespace qvhost
