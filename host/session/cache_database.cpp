#include "host/session/cache_database.h"

#include <fmt/format.h>

#include "host/host_error.h"

namespace qvhost {

CSqlite OpenCacheDatabase(const SDatabaseOptions& options, std::string* path) {
  const SDatabaseChoice choice = ChooseDatabase(options);
  PrepareDatabase(choice, true);
  *path = choice.path;
  std::string reason;
  try {
    CSqlite db(choice.path, SQLITE_OPEN_READWRITE);
    for (const char* table : {"cache", "metadata", "experiments", "history", "stored"}) {
      if (!db.HasTable(table)) reason = fmt::format("it has no table '{}' yet; 'qvthumbs make' makes it", table);
    }
    if (reason.empty()) return db;
  } catch (const CHostError& error) {
    reason = error.what();
  }
  throw CHostError(ExplainFailedOpen(choice, reason));
}

}  // namespace qvhost
