#pragma once

#include <mutex>
#include <string>

#include "host/find/picture_search.h"
#include "host/output/json.h"
#include "host/serve/served_folder.h"

namespace qvhost {

// Finds pictures in the whole tree of a served folder by words, among those that the database knows. Any thread; one
// search at a time.
class CFolderSearch {
 public:
  // The folder lives longer.
  CFolderSearch(const std::string& databasePath, const CServedFolder& folder);

  // Pictures with all words of a line: {"files": [{"path", "size", "time", "facts"}], "more"}, paths as names in the
  // folder; "more" when only the first ones are among them. Throws CHostError or SQLite::Exception.
  CJson Find(const std::string& line);

 private:
  const CServedFolder& m_folder;
  std::mutex m_mutex;
  SQLite::Database m_db;
  CPictureSearch m_search;
};

}  // namespace qvhost
