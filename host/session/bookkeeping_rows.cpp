#include "host/session/bookkeeping_rows.h"

namespace qvhost {
namespace {

std::vector<int> Numbers(SQLite::Statement& rows) {
  std::vector<int> numbers;
  while (rows.executeStep()) numbers.push_back(rows.getColumn(0).getInt());
  return numbers;
}

}  // namespace

CBookkeepingRows::CBookkeepingRows(const std::string& databasePath) : m_db(OpenForReading(databasePath)) {}

std::vector<int> CBookkeepingRows::ExperimentIDs() const {
  SQLite::Statement rows(m_db, "SELECT experimentID FROM experiments ORDER BY experimentID");
  return Numbers(rows);
}

std::vector<int> CBookkeepingRows::ExperimentIDsOfHash(std::int32_t hash) const {
  SQLite::Statement rows(m_db, "SELECT experimentID FROM experiments WHERE hashCRC = ?1");
  rows.bind(1, hash);
  return Numbers(rows);
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

std::optional<SRecordedFile> CBookkeepingRows::FindFile(const std::string& path) const {
  SQLite::Statement row(m_db, "SELECT userID, M_acqTime, experimentID FROM history WHERE filename = ?1");
  row.bind(1, path);
  if (!row.executeStep()) return std::nullopt;
  return SRecordedFile{row.getColumn(0).getString(), row.getColumn(1).getDouble(), row.getColumn(2).getInt()};
}

}  // namespace qvhost
