#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "host/session/session.h"
#include "host/watch/folder_watch.h"
#include "host/watch/growing_files.h"

namespace qvhost {

// Follows what is written in folders, on a thread of its own: files that are being written are kept from the service's
// workers, and handed out when they have stopped growing.
class CWatchRun {
 public:
  // The folders are watched from now on. Throws CHostError. The service outlives this object.
  CWatchRun(IQvThumbnailCache& service, const std::vector<std::string>& folders, CGrowingFiles::Clock::duration quiet);
  CWatchRun(const CWatchRun&) = delete;
  CWatchRun& operator=(const CWatchRun&) = delete;
  ~CWatchRun();

  struct SNews {
    std::vector<std::string> settled;  // paths, of anything that was written
    bool isEverything = false;         // all files may have changed
    std::string problem;               // why nothing more will come; empty: it will
  };
  // What came since the last call.
  SNews Take();

 private:
  void Run();
  void Follow(const CFolderWatch::SChanges& changes);

  IQvThumbnailCache& m_service;
  CFolderWatch m_watch;     // the thread's
  CGrowingFiles m_growing;  // the thread's
  std::mutex m_mutex;
  SNews m_news;  // guarded by m_mutex
  std::atomic<bool> m_ending{false};
  std::thread m_thread;
};

}  // namespace qvhost
