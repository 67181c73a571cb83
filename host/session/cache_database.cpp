#include "host/session/cache_database.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qvhost {

SQLite::Database OpenCacheDatabase(const SDatabaseOptions& options, std::string* path) {
  const SDatabaseChoice choice = ChooseDatabase(options);
  PrepareDatabase(choice, true);
  *path = choice.path;
  std::string reason;
  try {
    SQLite::Database db = OpenConnection(choice.path, SQLite::OPEN_READWRITE);
    for (const char* table : {"cache", "metadata", "experiments", "history", "stored"}) {
      if (!db.tableExists(table)) reason = fmt::format("it has no table '{}' yet; 'qvthumbs make' makes it", table);
    }
    if (reason.empty()) return db;
  } catch (const std::runtime_error& error) {
    reason = ErrorText(error);
  }
  throw CHostError(ExplainFailedOpen(choice, reason));
}

}  // namespace qvhost
