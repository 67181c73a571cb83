#pragma once

#include <string>

namespace qvhost {

// A database that many may read and nobody writes: it is made in a folder of its own beside the new name and appears
// under it when it is complete. Goes without a trace when it is not committed.
class CPublication {
 public:
  // Throws CHostError when something stands under that name: readers take it that a published file never changes.
  explicit CPublication(const std::string& name);
  CPublication(const CPublication&) = delete;
  CPublication& operator=(const CPublication&) = delete;
  ~CPublication();

  // Where to put it together from several, in any order.
  std::string StagePath() const { return m_folder + "/stage.db"; }
  // Where to make what is published; an empty database with pages for reading.
  std::string FilePath() const { return m_folder + "/file.db"; }

  // Takes writing rights away and gives it its name. Throws CHostError.
  void Commit();

 private:
  [[noreturn]] void Fail(const char* problem) const;

  const std::string m_name;
  std::string m_folder;
};

}  // namespace qvhost
