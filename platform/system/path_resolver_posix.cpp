#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "platform/system/folder_listing.h"
#include "platform/system/path_resolver.h"

namespace {

// Walks down a path; every step that has several names to choose from is tried in turn.
class CCaseInsensitiveSearch {
 public:
  explicit CCaseInsensitiveSearch(const std::string& path) {
    for (std::size_t at = 0; at < path.size();) {
      const std::size_t slash = std::min(path.find('/', at), path.size());
      if (slash != at) m_names.push_back(path.substr(at, slash - at));
      at = slash + 1;
    }
    // A slash at the end asks for a folder.
    if (!path.empty() && path.back() == '/') m_names.emplace_back(".");
  }

  // Finds the names from `index` on below `folder` (empty, or with a slash at its end).
  bool Find(const std::string& folder, std::size_t index, std::string* found) {
    if (index == m_names.size()) return false;
    const std::string& name = m_names[index];
    if (Enter(folder + name, index, found)) return true;
    return FindOther(folder, index, CFolderListings::EAge::kMayBeOld, found);
  }

 private:
  // Folders whose names differ in case only, nested, would make the walk exponential.
  static constexpr int kMaxSteps = 5000;

  // Goes on below the folder's names that equal the wanted one but for case.
  bool FindOther(const std::string& folder, std::size_t index, CFolderListings::EAge age, std::string* found) {
    const std::string& name = m_names[index];
    const CFolderListings::SFound known =
        CFolderListings::Instance().Find(folder.empty() ? "." : folder, FoldName(name), age);
    for (const std::string& match : known.names) {
      if (match != name && Enter(folder + match, index, found)) return true;
    }
    return !known.isFresh && FindOther(folder, index, CFolderListings::EAge::kFresh, found);
  }

  bool Enter(std::string path, std::size_t index, std::string* found) {
    struct stat status;
    if (++m_steps > kMaxSteps || ::stat(path.c_str(), &status) != 0) return false;
    if (index + 1 != m_names.size()) return S_ISDIR(status.st_mode) && Find(path + "/", index + 1, found);
    *found = std::move(path);
    return true;
  }

  std::vector<std::string> m_names;
  int m_steps = 0;
};

}  // namespace

bool MayExistInAnotherCase(int error) noexcept {
  // Lower-casing may have made a name longer than the file system allows.
  return error == ENOENT || error == ENOTDIR || error == ENAMETOOLONG;
}

bool ResolveIgnoringCase(std::string* path) {
  std::string found;
  const bool absolute = !path->empty() && path->front() == '/';
  if (!CCaseInsensitiveSearch(*path).Find(absolute ? "/" : "", 0, &found)) return false;
  *path = std::move(found);
  return true;
}
