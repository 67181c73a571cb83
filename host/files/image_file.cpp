#include "host/files/image_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "host/files/picture_folder.h"
#include "host/output/text.h"
#include "system/qvfile.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

class CFileHandle {
 public:
  explicit CFileHandle(const CQvStringW& path)
      : m_open(QV_OpenFile(path.c_str(), kQvFileRead, kQvShareRead | kQvShareWrite, kQvAnyAttributes, &m_handle) ==
               kQvOk) {}
  CFileHandle(const CFileHandle&) = delete;
  CFileHandle& operator=(const CFileHandle&) = delete;
  ~CFileHandle() {
    if (m_open) QV_CloseFile(m_handle);
  }
  bool IsOpen() const noexcept { return m_open; }
  QvFileHandle Get() const noexcept { return m_handle; }

 private:
  QvFileHandle m_handle{};
  bool m_open;
};

// Whether AbsolutePath leaves the parts of a path as they are.
bool IsPlain(std::string_view path) {
  for (;;) {
    const std::size_t slash = path.find('/');
    const std::string_view part = path.substr(0, slash);
    if (part.empty() || part == "." || part == "..") return false;
    if (slash == path.npos) return true;
    path.remove_prefix(slash + 1);
  }
}

// The name of the other file that the location leads to; empty when it leads to this one.
std::string FindCaseCollision(const std::string& path, const CQvStringW& location) {
  if (CQvStringUtils::WtoUTF8(location).Str() == path) return {};
  CQvStringA found;
  if (QV_ResolvePath(location.c_str(), &found) != kQvOk) return {};
  std::error_code error;
  if (found.Str() == path || fs::equivalent(found.Str(), path, error)) return {};
  return found.Str();
}

double LaterOf(const SQvFileTime& creation, const SQvFileTime& lastWrite) {
  return std::max(CQvDateTime(creation).GetJulianDayNumber(), CQvDateTime(lastWrite).GetJulianDayNumber());
}

bool ReadLastWritten(QvFileHandle handle, double* lastWritten) {
  SQvFileTime creation, lastWrite;
  if (QV_GetFileTimes(handle, &creation, nullptr, &lastWrite) != kQvOk) return false;
  *lastWritten = LaterOf(creation, lastWrite);
  return true;
}

bool FindFile(const CQvStringW& location, SQvFindData* data) {
  QvFindHandle find = nullptr;
  if (QV_FindFileFirst(location.c_str(), data, &find) != kQvOk) return false;
  QV_FindFileClose(find);
  return true;
}

}  // namespace

std::string AbsolutePath(const std::string& path) {
  if (path.starts_with('/') && IsPlain(std::string_view(path).substr(1))) return path;
  // The program never changes its folder.
  static const std::string here = fs::current_path().string() + "/";
  if (IsPlain(path) && IsPlain(std::string_view(here).substr(1, here.size() - 2))) return here + path;
  const fs::path absolute = fs::absolute(path);
  const bool climbs = std::find(absolute.begin(), absolute.end(), "..") != absolute.end();
  if (!climbs) return absolute.lexically_normal().string();
  // "link/.." is the parent of what the link leads to, so only the file system can resolve it.
  std::error_code error;
  const fs::path folder = fs::weakly_canonical(absolute.parent_path(), error);
  return (error ? absolute.lexically_normal() : folder / absolute.filename()).string();
}

CQvStringW LowerCaseLocation(const std::string& path) {
  return SQvThumbnailDescription::LowerCase(CQvStringUtils::UTF8toW(path));
}

std::string LocationOfFolder(const std::string& folder) {
  const std::string location = CQvStringUtils::WtoUTF8(LowerCaseLocation(AbsolutePath(folder))).Str();
  return location.ends_with('/') ? location : location + "/";
}

SQvThumbnailDescription DescribeLocation(const std::string& path, bool highQuality) {
  SQvThumbnailDescription description;
  description.location = LowerCaseLocation(AbsolutePath(PicturePath(path)));
  description.flags = highQuality ? 1 : 0;
  return description;
}

bool DescribeFile(const std::string& path, bool highQuality, SQvThumbnailDescription* description,
                  std::string* reason) {
  const std::string absolute = AbsolutePath(PicturePath(path));
  description->location = LowerCaseLocation(absolute);
  description->flags = highQuality ? 1 : 0;
  const std::string other = FindCaseCollision(absolute, description->location);
  // A link that leads to itself is neither there nor missing; opening it says what it is.
  std::error_code error;
  if (!other.empty() && fs::exists(absolute, error)) {
    *reason = fmt::format("its name differs from {} in case only, and the cache keeps one thumbnail for both",
                          Printable(other));
    return false;
  }
  // The real name opens without another search for it.
  const CFileHandle file(other.empty() ? CQvStringUtils::UTF8toW(absolute) : description->location);
  if (file.IsOpen() && ReadLastWritten(file.Get(), &description->lastWritten)) return true;
  *reason = ExplainOpenFailure(absolute);
  if (reason->empty()) *reason = "cannot be opened";
  return false;
}

bool CLastWrittenFinder::Find(const std::string& path, SQvThumbnailDescription* description) {
  const std::string absolute = AbsolutePath(PicturePath(path));
  if (faccessat(AT_FDCWD, absolute.c_str(), R_OK, AT_EACCESS) != 0) return false;
  SQvFindData data;
  if (!LeadsTo(absolute, CQvStringUtils::WtoUTF8(description->location).Str())) return false;
  if (!FindFile(CQvStringUtils::UTF8toW(absolute), &data) || data.isFolder != 0) return false;
  description->lastWritten = LaterOf(data.creationTime, data.lastWriteTime);
  return true;
}

// A location leads through the first folder that it can. When that is the file's own, only the name is left to be
// looked for, in that folder.
bool CLastWrittenFinder::LeadsTo(const std::string& absolute, const std::string& location) {
  const std::string folder = absolute.substr(0, absolute.rfind('/'));
  if (folder != m_folder) {
    m_folder = folder;
    m_leadsToFolder = FindCaseCollision(folder, LowerCaseLocation(folder)).empty();
  }
  const std::string inFolder = folder + location.substr(location.rfind('/'));
  return m_leadsToFolder && FindCaseCollision(absolute, CQvStringUtils::UTF8toW(inFolder)).empty();
}

CQvStringW TextInfoPath(const std::string& path) {
  const CQvStringW location = LowerCaseLocation(path);
  return FindCaseCollision(path, location).empty() ? location : CQvStringUtils::UTF8toW(path);
}

std::string RealPath(const CQvStringW& location) {
  CQvStringA found;
  return QV_ResolvePath(location.c_str(), &found) == kQvOk ? found.Str() : CQvStringUtils::WtoUTF8(location).Str();
}

std::string CRealPaths::Find(const std::string& location) {
  const auto folder = std::string_view(location).substr(0, location.rfind('/') + 1);
  if (folder != m_folder) {
    m_folder = folder;
    m_isThere = IsThere(m_folder);
  }
  return m_isThere ? RealPath(CQvStringUtils::UTF8toW(location)) : location;
}

bool CRealPaths::IsThere(const std::string& folder) {
  const auto exists = [](const std::string& name) { return LocationExists(CQvStringUtils::UTF8toW(name)); };
  if (!m_missing.empty() && folder.starts_with(m_missing)) return false;
  if (exists(folder)) return true;
  m_missing = folder;
  for (std::string above = folder; above.size() > 1;) {
    above.pop_back();
    above.resize(above.rfind('/') + 1);
    if (above.size() <= 1 || exists(above)) break;
    m_missing = above;
  }
  return false;
}

bool LocationExists(const CQvStringW& location) {
  SQvFindData data;
  return FindFile(location, &data);
}

double LastWriteTime(const std::string& path) {
  const CFileHandle file(CQvStringUtils::UTF8toW(path));
  SQvFileTime lastWrite;
  if (!file.IsOpen() || QV_GetFileTimes(file.Get(), nullptr, nullptr, &lastWrite) != kQvOk) return 0.0;
  return CQvDateTime(lastWrite).GetJulianDayNumber();
}

std::string ExplainOpenFailure(const std::string& path) {
  // Without O_NONBLOCK a FIFO would wait for its writer.
  const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (file < 0) return std::strerror(errno);
  struct stat status = {};
  const bool known = fstat(file, &status) == 0;
  close(file);
  if (known && S_ISDIR(status.st_mode)) {
    return CFileHandle(CQvStringUtils::UTF8toW(path)).IsOpen() ? std::string() : "is a folder";
  }
  if (known && !S_ISREG(status.st_mode)) return "is not a regular file";
  return {};
}

}  // namespace qvhost
