#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/session/sqlite.h"

namespace qvhost {

// What the interface of the service does not tell of its bookkeeping tables, read through a read-only connection of the
// host's own. The tables are described in docs/database.md. Throws CHostError or SQLite::Exception.
class CBookkeepingRows {
 public:
  explicit CBookkeepingRows(const std::string& databasePath);

  std::vector<int> ExperimentIDs() const;
  bool HasExperiment(int experimentID) const;
  std::int64_t CountHistory(int experimentID) const;

 private:
  SQLite::Database m_db;
};

}  // namespace qvhost
