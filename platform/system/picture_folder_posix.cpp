#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/picture_folder.h"
#include "platform/system/posix_handles.h"
#include "system/qvfile.h"

namespace {

constexpr int kMostLooks = 2000;
constexpr int kMostFoldersDeep = 12;
// Names that are kept of one folder; what is behind them is not looked at.
constexpr std::size_t kMostNames = 10000;

constexpr std::array<const char*, 5> kDescriptions = {"zarr.json", ".zattrs", ".zgroup", ".zarray", ".zmetadata"};

int OpenFolderAt(int folder, const std::string& name) noexcept {
  return ::openat(folder, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW);
}

bool IsFileAt(int folder, const char* name) noexcept {
  struct stat status;
  return ::fstatat(folder, name, &status, 0) == 0 && S_ISREG(status.st_mode);
}

// Zarr 3 describes groups and arrays in files of one name.
bool SaysArray(int folder) noexcept {
  const CDescriptor file(::openat(folder, "zarr.json", O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  if (file.Get() < 0) return false;
  char text[8192];
  const ssize_t size = ::pread(file.Get(), text, sizeof text, 0);
  const std::string_view head(text, size > 0 ? static_cast<std::size_t>(size) : 0);
  // Inlined descriptions of arrays below a group begin with the group's own.
  const std::size_t key = head.find("\"node_type\"");
  const std::size_t array = head.find("\"array\"", key == std::string_view::npos ? 0 : key);
  const std::size_t group = head.find("\"group\"", key == std::string_view::npos ? 0 : key);
  return array != std::string_view::npos && (group == std::string_view::npos || array < group);
}

bool IsArray(int folder) noexcept { return IsFileAt(folder, ".zarray") || SaysArray(folder); }

class CFolderWalk {
 public:
  // What is in the folder and all below belongs to one picture.
  void LookAtPicture(int folder, int depth) {
    LookAtDescriptions(folder);
    if (depth >= kMostFoldersDeep || IsArray(folder)) return LookBelow(folder);
    const std::vector<std::string> names = FoldersIn(folder);
    const auto isArray = [&](const std::string& name) {
      const CDescriptor below(OpenFolderAt(folder, name));
      return below.Get() >= 0 && IsArray(below.Get());
    };
    if (names.empty() || !isArray(names.front())) {
      if (!names.empty()) LookAtFirst(folder, names.front(), depth);
      return;
    }
    for (auto name = names.rbegin(); name != names.rend() && m_left > 0; ++name) {
      const CDescriptor level(OpenFolderAt(folder, *name));
      if (level.Get() >= 0) LookBelow(level.Get());
    }
  }

  const SPictureFolderState& State() const noexcept { return m_state; }

 private:
  void LookAtFirst(int folder, const std::string& name, int depth) {
    const CDescriptor below(OpenFolderAt(folder, name));
    if (below.Get() >= 0) LookAtPicture(below.Get(), depth + 1);
  }

  void LookAtDescriptions(int folder) {
    for (const char* name : kDescriptions) {
      struct stat status;
      if (::fstatat(folder, name, &status, 0) == 0) Note(status);
    }
  }

  // Sorted; hidden ones, labels and what only describes are left out.
  std::vector<std::string> FoldersIn(int folder) {
    std::vector<std::string> names;
    ForEachBelow(folder, [&](const char* name) {
      struct stat status;
      const std::string_view text(name);
      if (names.size() >= kMostNames) return false;
      if (text.front() == '.' || text == "labels" || text == "OME" || text == "tables") return true;
      if (::fstatat(folder, name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode)) {
        names.emplace_back(name);
      }
      return true;
    });
    std::sort(names.begin(), names.end(),
              [](const std::string& a, const std::string& b) { return ::strverscmp(a.c_str(), b.c_str()) < 0; });
    return names;
  }

  // All files and folders below, folder by folder, the upper ones first.
  void LookBelow(int top) {
    struct stat status;
    if (::fstat(top, &status) == 0) Note(status);
    std::vector<std::string> folders{"."};
    for (std::size_t i = 0; i < folders.size() && m_left > 0; ++i) {
      const CDescriptor folder(OpenFolderAt(top, folders[i]));
      if (folder.Get() < 0) continue;
      ForEachBelow(folder.Get(), [&](const char* name) {
        if (::fstatat(folder.Get(), name, &status, AT_SYMLINK_NOFOLLOW) != 0) return true;
        Note(status);
        if (S_ISDIR(status.st_mode)) folders.push_back(folders[i] + "/" + name);
        return m_left > 0;
      });
    }
  }

  template <class Each>
  static void ForEachBelow(int folder, Each&& each) {
    CDescriptor again(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC | O_NONBLOCK));
    const CFolderHandle listing(again.Get() < 0 ? nullptr : ::fdopendir(again.Get()));
    if (!listing) return;
    again.Detach();
    while (const dirent* entry = ::readdir(listing.get())) {
      const std::string_view name(entry->d_name);
      if (name != "." && name != ".." && !each(entry->d_name)) return;
    }
  }

  void Note(const struct stat& status) noexcept {
    --m_left;
    if (S_ISREG(status.st_mode)) m_state.size += status.st_size;
    const auto isLater = [](const timespec& a, const timespec& b) {
      return a.tv_sec != b.tv_sec ? a.tv_sec > b.tv_sec : a.tv_nsec > b.tv_nsec;
    };
    if (isLater(status.st_mtim, m_state.newest)) m_state.newest = status.st_mtim;
  }

  SPictureFolderState m_state;
  int m_left = kMostLooks;
};

}  // namespace

bool IsPictureFolder(int folder) noexcept {
  struct stat status;
  if (::fstat(folder, &status) != 0 || !S_ISDIR(status.st_mode)) return false;
  return std::any_of(kQvPictureDocuments.begin(), kQvPictureDocuments.end(),
                     [&](const char* name) { return IsFileAt(folder, name); });
}

bool ReadPictureFolder(int folder, SPictureFolderState* state) noexcept {
  if (!IsPictureFolder(folder)) return false;
  try {
    CFolderWalk walk;
    walk.LookAtPicture(folder, 0);
    *state = walk.State();
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

bool IsDocumentName(const std::string& path) noexcept {
  const std::size_t slash = path.rfind('/');
  const std::string_view name = std::string_view(path).substr(slash == std::string::npos ? 0 : slash + 1);
  return name == "zarr.json" || name == ".zattrs" || name == ".zgroup";
}

std::string FolderOfDocument(const std::string& path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? "." : path.substr(0, std::max<std::size_t>(slash, 1));
}
