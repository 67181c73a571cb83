#pragma once

#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

namespace qvhost {

// Tells what is written in folders and those below them, new ones too. Only what this machine writes is seen: of a
// network file system not what others write there. One thread.
class CFolderWatch {
 public:
  struct SChange {
    std::string path;
    bool isGone = false;
  };
  struct SChanges {
    std::vector<SChange> files;
    // Some were not told of: everything may have changed.
    bool areLost = false;
  };

  // Throws CHostError.
  CFolderWatch();
  CFolderWatch(const CFolderWatch&) = delete;
  CFolderWatch& operator=(const CFolderWatch&) = delete;
  ~CFolderWatch();

  // Throws CHostError when the folder cannot be watched, or when it has more folders below than the system allows.
  void Add(const std::string& folder);
  // What has happened since the last call; waits up to `timeout` for the first. Throws CHostError.
  SChanges Wait(std::chrono::milliseconds timeout);

 private:
  void AddTree(const std::string& folder, SChanges* changes);
  void AddOne(const std::string& folder);
  void Read(SChanges* changes);

  int m_inotify;
  std::unordered_map<int, std::string> m_folders;  // by watch
};

}  // namespace qvhost
