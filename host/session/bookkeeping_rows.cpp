#include "host/session/bookkeeping_rows.h"

namespace qvhost {
namespace {

std::vector<int> Numbers(SQLite::Statement& rows) {
  std::vector<int> numbers;
  while (rows.executeStep()) numbers.push_back(rows.getColumn(0).getInt());
  return numbers;
}

const std::string kRecordQuery = "SELECT filename, userID, M_acqTime, experimentID FROM history WHERE ";

SRecordedFile RecordOf(const SQLite::Statement& row) {
  return {row.getColumn(0).getString(), row.getColumn(1).getString(), row.getColumn(2).getDouble(),
          row.getColumn(3).getInt()};
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

std::vector<SHistoryUser> CBookkeepingRows::Users() const {
  SQLite::Statement rows(
      m_db, "SELECT userID, count(*), min(M_acqTime), max(M_acqTime) FROM history GROUP BY userID ORDER BY userID");
  std::vector<SHistoryUser> users;
  while (rows.executeStep()) {
    users.push_back({rows.getColumn(0).getString(), rows.getColumn(1).getInt64(), rows.getColumn(2).getDouble(),
                     rows.getColumn(3).getDouble()});
  }
  return users;
}

std::vector<SRecordedFile> CBookkeepingRows::FindRecords(double from, double to) const {
  SQLite::Statement rows(m_db, kRecordQuery + "M_acqTime >= ?1 AND M_acqTime < ?2 ORDER BY M_acqTime, filename");
  SQLite::bind(rows, from, to);
  std::vector<SRecordedFile> records;
  while (rows.executeStep()) records.push_back(RecordOf(rows));
  return records;
}

std::optional<SRecordedFile> CBookkeepingRows::FindFile(const std::string& path) const {
  SQLite::Statement row(m_db, kRecordQuery + "filename = ?1");
  row.bind(1, path);
  if (!row.executeStep()) return std::nullopt;
  return RecordOf(row);
}

}  // namespace qvhost
