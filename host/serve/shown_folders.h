#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "host/serve/event_queue.h"
#include "host/watch/folder_watch.h"
#include "host/watch/growing_files.h"

namespace qvhost {

// The folders that clients have open. When something has appeared in one, has gone or has changed and is written to no
// more, its clients are told: an event of the kind "folder", {"folder"}. A folder that cannot be watched is not told
// of. Any thread.
class CShownFolders {
 public:
  CShownFolders();
  CShownFolders(const CShownFolders&) = delete;
  CShownFolders& operator=(const CShownFolders&) = delete;
  ~CShownFolders();

  void Connect(std::uint64_t client, std::shared_ptr<CEventQueue> queue);
  void Disconnect(std::uint64_t client);
  // The one folder that the client shows now; what happens in it after the return is told. `name` is what the client
  // calls it.
  void Show(std::uint64_t client, const std::string& name, const std::string& path);

 private:
  struct SFolder {
    explicit SFolder(const std::string& path);
    // Whether there is something new to be seen.
    bool HasChanged();

    CFolderWatch watch;
    CGrowingFiles growing;
  };
  struct SClient {
    std::shared_ptr<CEventQueue> queue;
    std::string name, path;
  };

  void ForgetUnshown();
  void TellOf(const std::string& path);
  void Run();

  std::mutex m_mutex;
  std::map<std::uint64_t, SClient> m_clients;                 // guarded by m_mutex
  std::map<std::string, std::unique_ptr<SFolder>> m_folders;  // by path; guarded by m_mutex
  std::atomic<bool> m_ending{false};
  std::thread m_watcher;
};

}  // namespace qvhost
