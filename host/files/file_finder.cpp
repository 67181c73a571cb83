#include "host/files/file_finder.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <unordered_set>

#include "host/file_extension.h"
#include "host/files/image_file.h"
#include "host/files/picture_folder.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

// Formats of plain arrays, whose files are often compressed as a whole.
bool IsArrayExtension(const std::string& extension) {
  constexpr std::array<std::string_view, 13> kExtensions = {".mrc",  ".mrcs", ".map", ".rec",  ".st",  ".ali", ".nrrd",
                                                            ".nhdr", ".nii",  ".hdr", ".fits", ".fit", ".fts"};
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

bool HasImageExtension(const fs::path& path) {
  constexpr std::array kExtensions = std::to_array<std::string_view>(
      {".bmp", ".dib",  ".gif", ".pbm",   ".pgm",  ".ppm",  ".pnm", ".pam", ".jp2",  ".j2k",  ".j2c",     ".jpc",
       ".jpf", ".jpx",  ".dcm", ".dicom", ".tif",  ".tiff", ".btf", ".tf2", ".tf8",  ".gtif", ".jpg",     ".jpeg",
       ".jpe", ".jfif", ".png", ".svs",   ".ndpi", ".scn",  ".vms", ".vmu", ".mrxs", ".bif",  ".svslide", ".ozx"});
  const std::string extension = LowerCaseExtension(path);
  // Archives of anything else are no images.
  if (extension == ".zip") return LowerCaseExtension(path.stem()) == ".zarr";
  if (IsArrayExtension(extension == ".gz" ? LowerCaseExtension(path.stem()) : extension)) return true;
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

class CFinder {
 public:
  explicit CFinder(bool recursive) : m_recursive(recursive) {}

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
    if (m_seen.insert(AbsolutePath(path)).second) m_found.files.push_back(path);
  }

  void AddFolder(const fs::path& folder) {
    CInterrupt::ThrowIfRequested("interrupted");
    std::vector<fs::path> files, folders;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
      Sort(*entry, &files, &folders);
    }
    if (error) m_found.problems.emplace_back(folder.string(), error.message());
    std::sort(files.begin(), files.end());
    std::sort(folders.begin(), folders.end());
    for (const fs::path& file : files) AddFile(file.string());
    for (const fs::path& below : folders) AddFolder(below);
  }

  void Sort(const fs::directory_entry& entry, std::vector<fs::path>* files, std::vector<fs::path>* folders) const {
    std::error_code error;
    if (entry.path().filename().string().front() == '.') return;
    if (entry.is_directory(error)) {
      if (const auto pictures = PicturesOfFolder(entry.path().string())) {
        files->insert(files->end(), pictures->begin(), pictures->end());
        return;
      }
      // A link to a folder could lead round in a circle.
      if (m_recursive && !entry.is_symlink(error)) folders->push_back(entry.path());
    } else if (HasImageExtension(entry.path())) {
      files->push_back(entry.path());
    }
  }

  const bool m_recursive;
  SFoundFiles m_found;
  std::unordered_set<std::string> m_seen;
};

}  // namespace

SFoundFiles FindImageFiles(const std::vector<std::string>& paths, bool recursive) {
  CFinder finder(recursive);
  for (const std::string& path : paths) finder.AddArgument(path);
  return finder.TakeResult();
}

}  // namespace qvhost
