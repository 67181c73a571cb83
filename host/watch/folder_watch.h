#pragma once

#include <chrono>
#include <string>
#include <unordered_map>
#include <vector>

namespace qvhost {

// The picture that a file belongs to: itself, or the folder above that is one.
std::string PictureOf(const std::string& path);

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
  // Without the folders below, of which only appearing and going is told, as of files; but with those that are
  // pictures. Throws CHostError.
  void AddAlone(const std::string& folder);
  // What has happened since the last call; waits up to `timeout` for the first. Throws CHostError.
  SChanges Wait(std::chrono::milliseconds timeout);

 private:
  struct SFolder {
    std::string path;
    bool isAlone = false;
  };
  void AddTree(const std::string& folder, SChanges* changes);
  void AddOne(const SFolder& folder);
  void Read(SChanges* changes);
  void TakeFolder(const SFolder& above, const SChange& change, SChanges* changes);

  int m_inotify;
  std::unordered_map<int, SFolder> m_folders;  // by watch
};

}  // namespace qvhost
