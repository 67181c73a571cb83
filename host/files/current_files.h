#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/session/cache_rows.h"
#include "host/session/read_ahead.h"

namespace qvhost {

// Finds out, on threads of its own and some way ahead of whoever goes through a long list of files, which of them have
// a thumbnail in the database that a viewer would show as it is. Both the rows and the files are waited for by several
// threads at a time, and rows are read many in one transaction. For one thread.
class CCurrentFiles {
 public:
  // Fewer files are looked at as fast one by one.
  static constexpr std::size_t kFewest = 1000;

  // The list must outlive the object.
  CCurrentFiles(const std::vector<std::string>& files, bool highQuality, const std::string& databasePath);
  CCurrentFiles(const CCurrentFiles&) = delete;
  CCurrentFiles& operator=(const CCurrentFiles&) = delete;

  // Whether the nth file had such a thumbnail a moment ago; waits until that is known. False also for a file that
  // cannot be looked at, or when the database cannot be read. To be asked with numbers that ascend.
  bool IsCurrent(std::size_t number);

 private:
  void Work(CReadAhead& ahead) noexcept;
  void Look(CCacheRows& rows, std::size_t chunk);

  const std::vector<std::string>& m_files;
  const bool m_highQuality;
  const std::string m_databasePath;
  std::vector<char> m_isCurrent;  // of each file; a chunk's belong to the thread that has it until it is told
  CReadAhead m_ahead;
};

}  // namespace qvhost
