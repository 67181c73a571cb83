#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/find/known_rows.h"
#include "host/find/picture_query.h"
#include "host/session/temporary_folder.h"

namespace qvhost {

// Finds pictures among those that a thumbnail database knows, by its search index, which is brought up to date first.
// Where the index cannot be kept beside the database, a temporary one does, about which a word goes to standard error.
// No picture is opened. One thread.
class CPictureSearch {
 public:
  // `db` lives longer. A `quiet` one shows no progress.
  CPictureSearch(SQLite::Database& db, bool quiet);
  CPictureSearch(const CPictureSearch&) = delete;
  CPictureSearch& operator=(const CPictureSearch&) = delete;

  // Throws SQLite::Exception, or CHostError when interrupted.
  std::vector<SFoundPicture> Find(const SPictureQuery& query);
  // Only where they are, which is faster.
  std::vector<std::string> FindLocations(const SPictureQuery& query);

  // As of the last search: how many pictures are known, and whether one of them is at that location.
  std::int64_t CountKnown();
  bool IsKnown(const std::string& location);

 private:
  // Searches, with another index when this one fails. `find` begins anew.
  void Search(const std::function<void(CSearchIndex& index)>& find);
  void Prepare();
  void OpenBesideDatabase();
  void OpenTemporary(const std::string& reason);

  const std::string m_databasePath;
  const CKnownRows m_rows;
  const bool m_quiet;
  const CFolding m_folding;
  std::unique_ptr<CTemporaryFolder> m_temporary;
  std::unique_ptr<CSearchIndex> m_index;
};

// Brings the index of a database up to date when there is one, after rows were removed: what was removed is not to be
// found any more, and neither to be read in it. What cannot be done is left to the next search.
void RefreshSearchIndex(SQLite::Database& db);

}  // namespace qvhost
