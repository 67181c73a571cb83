#pragma once

#include <cstdint>

#include "host/session/sqlite.h"

namespace qvhost {

struct SBookkeepingCounts {
  std::int64_t history = 0, experiments = 0, stored = 0;  // rows that were added
  std::int64_t keptHistory = 0;                           // of files that have a record already
};

// Copies history, experiments and stored items from the database that is attached to `db` as `source`. An experiment
// that is there, by its hash and its bytes, is used; else it gets a new number, which the history follows. A file keeps
// the record that it has. Throws CHostError when an item of the stored tree says something else in either database, and
// SQLite::Exception; part of the rows are then written, so that it belongs into a transaction.
SBookkeepingCounts MergeBookkeeping(SQLite::Database& db);

}  // namespace qvhost
