#include "host/files/file_finder.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <unordered_set>

#include "host/file_extension.h"
#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

template <std::size_t N>
bool IsOneOf(const std::array<std::string_view, N>& extensions, const std::string& extension) {
  return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

// Formats of plain arrays, whose files are often compressed as a whole.
bool IsArrayExtension(const std::string& extension) {
  return IsOneOf(std::to_array<std::string_view>({".mrc", ".mrcs", ".nrrd", ".nii", ".fits", ".fit", ".fts"}),
                 extension);
}

// Many programs have files of such names: these must begin as density maps, or headers of volumes, do.
bool IsArrayOfCommonName(const fs::path& path, const std::string& extension) {
  if (!IsOneOf(std::to_array<std::string_view>({".map", ".rec", ".st", ".ali", ".hdr"}), extension)) return false;
  std::error_code error;
  if (!fs::is_regular_file(path, error)) return false;
  char head[211] = {};
  std::ifstream(path, std::ios::binary).read(head, sizeof head);
  const std::string_view start(head, 4), signature(head + 208, 3);
  if (extension != ".hdr") return signature == "MAP";
  return IsOneOf(
      std::to_array<std::string_view>({{"\x5C\1\0\0", 4}, {"\0\0\1\x5C", 4}, {"\x1C\2\0\0", 4}, {"\0\0\2\x1C", 4}}),
      std::string(start));
}

bool HasImageExtension(const fs::path& path) {
  constexpr std::array kExtensions = std::to_array<std::string_view>(
      {".bmp", ".dib",  ".gif", ".pbm", ".pgm",   ".ppm",  ".pnm",  ".pam",     ".jp2", ".j2k",  ".j2c",
       ".jpc", ".jpf",  ".jpx", ".dcm", ".dicom", ".webp", ".heic", ".heif",    ".hif", ".avif", ".jxl",
       ".tif", ".tiff", ".btf", ".tf2", ".tf8",   ".gtif", ".jpg",  ".jpeg",    ".jpe", ".jfif", ".png",
       ".svs", ".ndpi", ".scn", ".vms", ".vmu",   ".mrxs", ".bif",  ".svslide", ".ozx"});
  const std::string extension = LowerCaseExtension(path);
  // Archives of anything else are no images.
  if (extension == ".zip") return LowerCaseExtension(path.stem()) == ".zarr";
  if (IsArrayExtension(extension == ".gz" ? LowerCaseExtension(path.stem()) : extension)) return true;
  return IsOneOf(kExtensions, extension) || extension == ".nhdr" || IsArrayOfCommonName(path, extension);
}

// Orders paths in a folder as they compare part by part; all begin with the same `skipped` bytes.
struct SPathOrder {
  std::size_t skipped;

  bool operator()(const std::string& a, const std::string& b) const {
    const auto begin = static_cast<std::ptrdiff_t>(skipped);
    return std::lexicographical_compare(a.begin() + begin, a.end(), b.begin() + begin, b.end(),
                                        [](char x, char y) { return RankOf(x) < RankOf(y); });
  }
  static int RankOf(char c) { return c == '/' ? -1 : static_cast<unsigned char>(c); }
};

// Leaves alone what is hidden or excluded.
void SortEntry(const fs::directory_entry& entry, const CNameFilter& filter, SFolderContent* content) {
  std::error_code error;
  const std::string& path = entry.path().native();
  if (path[path.rfind('/') + 1] == '.' || filter.Excludes(path)) return;
  if (entry.is_directory(error)) {
    if (const auto pictures = PicturesOfFolder(path)) {
      content->files.insert(content->files.end(), pictures->begin(), pictures->end());
      return;
    }
    // A link to a folder could lead round in a circle.
    if (!entry.is_symlink(error)) content->folders.push_back(path);
  } else if (HasImageExtension(entry.path())) {
    (entry.is_symlink(error) ? content->links : content->files).push_back(path);
  }
}

SFolderContent ListContent(const std::string& folder, const CNameFilter& filter) {
  SFolderContent content;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
    SortEntry(*entry, filter, &content);
  }
  if (error) content.problem = error.message();
  return content;
}

class CFinder {
 public:
  CFinder(bool recursive, const CNameFilter& filter) : m_recursive(recursive), m_filter(filter) {}

  void AddArgument(const std::string& argument) {
    std::error_code error;
    const std::string path = PicturePath(argument);
    if (const auto pictures = PicturesOfFolder(path)) {
      for (const std::string& picture : *pictures) AddFile(picture);
    } else if (fs::is_directory(path, error)) {
      AddFolder(path);
    } else if (!fs::exists(fs::symlink_status(path, error))) {
      m_found.problems.emplace_back(path, "no such file or folder");
    } else {
      AddFile(path);
    }
  }

  SFoundFiles TakeResult() { return std::move(m_found); }

 private:
  void AddFile(const std::string& path) {
    if (m_filter.Excludes(path)) return;
    if (m_seen.insert(AbsolutePath(path)).second) m_found.files.push_back(path);
  }

  void AddFolder(const std::string& folder) {
    CInterrupt::ThrowIfRequested("interrupted");
    SFolderContent content = ListContent(folder, m_filter);
    if (!content.problem.empty()) m_found.problems.emplace_back(folder, content.problem);
    content.files.insert(content.files.end(), content.links.begin(), content.links.end());
    std::sort(content.files.begin(), content.files.end(), SPathOrder{folder.size()});
    for (const std::string& file : content.files) AddFile(file);
    if (!m_recursive) return;
    std::sort(content.folders.begin(), content.folders.end(), SPathOrder{folder.size()});
    for (const std::string& below : content.folders) AddFolder(below);
  }

  const bool m_recursive;
  const CNameFilter& m_filter;
  SFoundFiles m_found;
  std::unordered_set<std::string> m_seen;
};

}  // namespace

bool HasImageName(const std::string& path) {
  std::error_code error;
  return HasImageExtension(path) || fs::is_directory(path, error);
}

SFolderContent ListImageFolder(const std::string& folder) { return ListContent(folder, CNameFilter()); }

SFoundFiles FindImageFiles(const std::vector<std::string>& paths, bool recursive, const CNameFilter& filter) {
  CFinder finder(recursive, filter);
  for (const std::string& path : paths) finder.AddArgument(path);
  return finder.TakeResult();
}

}  // namespace qvhost
