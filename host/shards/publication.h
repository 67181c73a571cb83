#pragma once

#include <string>

#include "host/session/new_database.h"

namespace qvhost {

// A database that many may read and nobody writes.
class CPublication {
 public:
  // Throws CHostError when something stands under that name: readers take it that a published file never changes.
  explicit CPublication(const std::string& name);

  // Where to put it together from several, in any order.
  std::string StagePath() const { return m_database.FolderPath() + "/stage.db"; }
  // Where to make what is published; an empty database with pages for reading.
  std::string FilePath() const { return m_database.FilePath(); }

  // Takes writing rights away and gives it its name. Throws CHostError.
  void Commit();

 private:
  CNewDatabase m_database;
};

}  // namespace qvhost
