#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/session/sqlite.h"

namespace qvhost {

// What the history says of a file.
struct SRecordedFile {
  std::string file;  // in the file system's bytes
  std::string user;
  double time = 0.0;  // Julian day number
  int experiment = 0;
};

// A user of the history.
struct SHistoryUser {
  std::string name;
  std::int64_t records = 0;
  double first = 0.0, last = 0.0;  // Julian day numbers
};

// What the interface of the service does not tell of its bookkeeping tables, read through a read-only connection of the
// host's own. The tables are described in docs/database.md. Throws CHostError or SQLite::Exception.
class CBookkeepingRows {
 public:
  explicit CBookkeepingRows(const std::string& databasePath);

  std::vector<int> ExperimentIDs() const;
  // Candidates for an equal one.
  std::vector<int> ExperimentIDsOfHash(std::int32_t hash) const;
  bool HasExperiment(int experimentID) const;
  std::int64_t CountHistory(int experimentID) const;
  // By name.
  std::vector<SHistoryUser> Users() const;
  // Of all users, those with from <= time < to, by time.
  std::vector<SRecordedFile> FindRecords(double from, double to) const;
  // `path` in the file system's bytes, as it was recorded.
  std::optional<SRecordedFile> FindFile(const std::string& path) const;

 private:
  SQLite::Database m_db;
};

}  // namespace qvhost
