#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/system/case_twins.h"
#include "platform/system/folder_state.h"
#include "platform/system/mutex.h"

// Remembered listings of folders, so that looking 10,000 names up without regard to case reads the folder once.

// The names in a folder, as they were at one moment. Immutable.
class CFolderListing {
 public:
  // Above this number of names the rest of a folder is found under its exact names only.
  static constexpr std::size_t kMaxNames = std::size_t{1} << 20;

  // Reads the folder. `former`, which may be null, is the listing that this one replaces. Null when the folder cannot
  // be listed.
  static std::shared_ptr<const CFolderListing> Read(const std::string& folder, const CFolderListing* former);

  const SFolderState& State() const noexcept { return m_state; }
  bool IsSettled() const noexcept { return m_settled; }
  std::size_t NameCount() const noexcept { return m_names.size(); }
  // The names with that folded form, in byte order.
  std::vector<std::string> Find(const std::wstring& folded) const;

 private:
  SFolderState m_state;
  std::chrono::steady_clock::time_point m_firstSeen;
  bool m_settled = false;
  std::unordered_multimap<std::wstring, std::string> m_names;
};

// The listings of the folders used last. Safe from any thread; several threads that want the same listing wait for one
// of them to read it.
class CFolderListings {
 public:
  static constexpr std::size_t kMaxFolders = 64;
  // Of all remembered listings together.
  static constexpr std::size_t kMaxNames = std::size_t{1} << 21;

  // The one of this process.
  static CFolderListings& Instance();

  // What the names in a folder are looked up in. A folder that keeps changing is not read anew for every name: names
  // that were there a moment ago most likely still are, and whoever asked finds out.
  enum class EAge { kMayBeOld, kFresh };
  struct SFound {
    std::vector<std::string> names;  // in byte order
    bool isFresh = true;             // as the folder is now
  };
  // The names in the folder with that folded form; none when the folder cannot be listed.
  SFound Find(const std::string& folder, const std::wstring& folded, EAge age);
  // The names in the folder that equal this one without regard to case; see CCaseTwins::TakeUntold.
  std::vector<std::string> TakeUntoldTwins(const std::string& folder, const std::string& name);

  // How many times a folder was read, and how many folders are remembered.
  std::uint64_t GetReadCount() const noexcept { return m_reads.load(std::memory_order_relaxed); }
  std::size_t GetFolderCount();

 private:
  struct SFolder {
    SFolder(dev_t d, ino_t i) : device(d), inode(i) {}

    const dev_t device;
    const ino_t inode;
    CMutex mutex;                           // held while the folder is read; taken before m_mutex when both are held
    std::string path QV_GUARDED_BY(mutex);  // by which it was asked for last
    std::shared_ptr<const CFolderListing> listing QV_GUARDED_BY(mutex);
    // Until then the listing serves for names that may be old.
    std::chrono::steady_clock::time_point due QV_GUARDED_BY(mutex);
    CCaseTwins twins QV_GUARDED_BY(mutex);
    std::atomic<std::size_t> names{0};
  };

  std::shared_ptr<SFolder> Remember(dev_t device, ino_t inode);
  static void ForgetFormer(const std::string& path, SFolder& folder) QV_REQUIRES(folder.mutex);
  bool Read(const std::string& path, SFolder& folder) QV_REQUIRES(folder.mutex);
  void Trim() QV_REQUIRES(m_mutex);

  CMutex m_mutex;
  std::list<std::shared_ptr<SFolder>> m_folders QV_GUARDED_BY(m_mutex);  // the one used last in front
  std::atomic<std::uint64_t> m_reads{0};
};
