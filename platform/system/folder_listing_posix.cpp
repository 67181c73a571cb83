#include "platform/system/folder_listing.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <iterator>

#include "platform/system/posix_handles.h"
#include "system/qvstring.h"

namespace {

std::int64_t Nanoseconds(const timespec& time) noexcept {
  return static_cast<std::int64_t>(static_cast<std::uint64_t>(time.tv_sec) * 1'000'000'000u +
                                   static_cast<std::uint64_t>(time.tv_nsec));
}

SFolderState StateOf(const struct stat& status) noexcept {
  return {status.st_dev, status.st_ino, Nanoseconds(status.st_mtim), Nanoseconds(status.st_ctim)};
}

std::int64_t WallClockNow() noexcept {
  timespec now;
  ::clock_gettime(CLOCK_REALTIME, &now);
  return Nanoseconds(now);
}

CFolderHandle OpenFolder(const std::string& path) noexcept {
  CDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK));
  if (descriptor.Get() < 0) return nullptr;
  DIR* folder = ::fdopendir(descriptor.Get());
  if (folder) descriptor.Detach();
  return CFolderHandle(folder);
}

bool IsSelfOrParent(const char* name) noexcept { return std::strcmp(name, ".") == 0 || std::strcmp(name, "..") == 0; }

}  // namespace

bool IsSettled(const SFolderState& state, std::int64_t now, std::chrono::nanoseconds sinceFirstSeen) noexcept {
  constexpr std::chrono::nanoseconds kCoarsestStep = std::chrono::seconds(2);
  if (sinceFirstSeen > kCoarsestStep) return true;
  const std::int64_t last = std::max(state.modified, state.changed);
  return last < now && now - last > kCoarsestStep.count();
}

std::wstring FoldName(std::string_view name) {
  std::wstring folded = std::move(CQvStringUtils::UTF8toW(name).Str());
  CQvStringUtils::ToLower(folded);
  return folded;
}

std::shared_ptr<const CFolderListing> CFolderListing::Read(const std::string& folder, const CFolderListing* former) {
  const CFolderHandle open = OpenFolder(folder);
  struct stat status;
  // The state before the names: a change between the two makes the next look-up read again.
  if (!open || ::fstat(::dirfd(open.get()), &status) != 0) return nullptr;
  auto listing = std::make_shared<CFolderListing>();
  const auto now = std::chrono::steady_clock::now();
  listing->m_state = StateOf(status);
  listing->m_firstSeen = former && former->m_state == listing->m_state ? former->m_firstSeen : now;
  listing->m_settled = ::IsSettled(listing->m_state, WallClockNow(), now - listing->m_firstSeen);
  while (const dirent* entry = ::readdir(open.get())) {
    if (listing->m_names.size() == kMaxNames) break;
    if (!IsSelfOrParent(entry->d_name)) listing->m_names.emplace(FoldName(entry->d_name), entry->d_name);
  }
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

std::vector<std::string> CFolderListings::Find(const std::string& folder, const std::wstring& folded) {
  struct stat status;
  if (::stat(folder.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return {};
  const std::shared_ptr<SFolder> remembered = Remember(status.st_dev, status.st_ino);
  const CMutexLock folderLock(remembered->mutex);
  const CFolderListing* former = remembered->listing.get();
  if (former && former->State() == StateOf(status)) {
    std::vector<std::string> found = former->Find(folded);
    if (!found.empty() || former->IsSettled()) return found;
  }
  m_reads.fetch_add(1, std::memory_order_relaxed);
  const std::shared_ptr<const CFolderListing> listing = CFolderListing::Read(folder, former);
  if (!listing) return {};
  remembered->names.store(listing->NameCount(), std::memory_order_relaxed);
  remembered->listing = listing;
  const CMutexLock lock(m_mutex);
  Trim();
  return listing->Find(folded);
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
