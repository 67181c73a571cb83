#include "platform/system/folder_listing.h"

#include <sys/stat.h>

#include <algorithm>

std::shared_ptr<const CFolderListing> CFolderListing::Read(const std::string& folder, const CFolderListing* former) {
  auto listing = std::make_shared<CFolderListing>();
  const auto now = std::chrono::steady_clock::now();
  const auto add = [&](const char* name) {
    listing->m_names.emplace(FoldName(name), name);
    return listing->m_names.size() != kMaxNames;
  };
  if (!ForEachName(folder, &listing->m_state, add)) return nullptr;
  listing->m_firstSeen = former && former->m_state == listing->m_state ? former->m_firstSeen : now;
  listing->m_settled = ::IsSettled(listing->m_state, WallClockNow(), now - listing->m_firstSeen);
  return listing;
}

std::vector<std::string> CFolderListing::Find(const std::wstring& folded) const {
  std::vector<std::string> found;
  const auto [first, last] = m_names.equal_range(folded);
  for (auto name = first; name != last; ++name) found.push_back(name->second);
  std::sort(found.begin(), found.end());
  return found;
}

CFolderListings& CFolderListings::Instance() {
  // Never destroyed: files may be opened by static destructors.
  static auto* instance = new CFolderListings;
  return *instance;
}

CFolderListings::SFound CFolderListings::Find(const std::string& folder, const std::wstring& folded, EAge age) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return {};
  const std::shared_ptr<SFolder> remembered = Remember(status.st_dev, status.st_ino);
  const CMutexLock folderLock(remembered->mutex);
  ForgetFormer(folder, *remembered);
  if (const CFolderListing* former = remembered->listing.get()) {
    std::vector<std::string> found = former->Find(folded);
    const bool isFresh = former->State() == StateOf(status);
    if (isFresh && (!found.empty() || former->IsSettled())) return {std::move(found), true};
    const bool mayBeOld = age == EAge::kMayBeOld && std::chrono::steady_clock::now() < remembered->due;
    if (mayBeOld && !found.empty()) return {std::move(found), isFresh};
  }
  if (!Read(folder, *remembered)) return {};
  return {remembered->listing->Find(folded), true};
}

// File systems give the number of a folder that is gone to a new one at once.
void CFolderListings::ForgetFormer(const std::string& path, SFolder& folder) {
  if (folder.path == path) return;
  struct stat status;
  const bool isThere = ::stat(folder.path.c_str(), &status) == 0;
  if (!isThere || status.st_dev != folder.device || status.st_ino != folder.inode) {
    folder.listing = nullptr;
    folder.names.store(0, std::memory_order_relaxed);
    folder.twins = CCaseTwins();
  }
  folder.path = path;
}

bool CFolderListings::Read(const std::string& path, SFolder& folder) {
  // Reading for names that may be old takes at most this part of the time.
  constexpr int kShare = 20;
  const auto begin = std::chrono::steady_clock::now();
  m_reads.fetch_add(1, std::memory_order_relaxed);
  std::shared_ptr<const CFolderListing> listing = CFolderListing::Read(path, folder.listing.get());
  if (!listing) return false;
  folder.names.store(listing->NameCount(), std::memory_order_relaxed);
  folder.listing = std::move(listing);
  const auto end = std::chrono::steady_clock::now();
  folder.due = end + kShare * (end - begin);
  const CMutexLock lock(m_mutex);
  Trim();
  return true;
}

std::vector<std::string> CFolderListings::TakeUntoldTwins(const std::string& folder, const std::string& name) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return {};
  const std::shared_ptr<SFolder> remembered = Remember(status.st_dev, status.st_ino);
  const CMutexLock folderLock(remembered->mutex);
  ForgetFormer(folder, *remembered);
  return remembered->twins.TakeUntold(folder, StateOf(status), name);
}

std::shared_ptr<CFolderListings::SFolder> CFolderListings::Remember(dev_t device, ino_t inode) {
  const CMutexLock lock(m_mutex);
  const auto known = std::find_if(m_folders.begin(), m_folders.end(),
                                  [&](const auto& f) { return f->device == device && f->inode == inode; });
  if (known != m_folders.end()) {
    m_folders.splice(m_folders.begin(), m_folders, known);
  } else {
    m_folders.push_front(std::make_shared<SFolder>(device, inode));
    Trim();
  }
  return m_folders.front();
}

// Forgets the folders used longest ago while there are too many, or too many names.
void CFolderListings::Trim() {
  std::size_t folders = 0, names = 0;
  const auto surplus = std::find_if(m_folders.begin(), m_folders.end(), [&](const auto& folder) {
    names += folder->names.load(std::memory_order_relaxed);
    return ++folders > kMaxFolders || (names > kMaxNames && folders > 1);
  });
  m_folders.erase(surplus, m_folders.end());
}

std::size_t CFolderListings::GetFolderCount() {
  const CMutexLock lock(m_mutex);
  return m_folders.size();
}
