#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/session/cache_rows.h"

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
  // Stops, and waits for what is being looked at.
  ~CCurrentFiles();

  // Whether the nth file had such a thumbnail a moment ago; waits until that is known. False also for a file that
  // cannot be looked at, or when the database cannot be read. To be asked with numbers that ascend.
  bool IsCurrent(std::size_t number);

 private:
  // Looked at by one thread at a time, and known together.
  static constexpr std::size_t kChunk = 256;
  // How many chunks may be known before the first of them is asked for.
  static constexpr std::size_t kAhead = 16;

  void Work() noexcept;
  bool Claim(std::size_t* chunk);
  void Look(CCacheRows& rows, std::size_t chunk);
  // Completes the description; false when the file cannot be looked at.
  bool IsThere(const std::string& file, SQvThumbnailDescription* description) const;
  void Tell(std::size_t chunk);

  const std::vector<std::string>& m_files;
  const bool m_highQuality;
  const std::string m_databasePath;
  std::vector<char> m_isCurrent;  // of each file; a chunk's belong to the thread that has it until it is told

  std::mutex m_mutex;
  std::condition_variable m_told, m_wanted;
  // Under the mutex.
  std::vector<char> m_isTold;  // of each chunk
  std::size_t m_nextChunk = 0, m_wantedChunk = 0;
  bool m_stop = false;

  std::vector<std::thread> m_threads;
};

}  // namespace qvhost
