#include "host/serve/served_folder.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <filesystem>

#include "host/files/file_finder.h"
#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/output/time_text.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

// Only plain names, none hidden.
bool IsPlainName(const std::string& name) {
  if (name.find('\0') != name.npos || name.starts_with('/')) return false;
  for (std::size_t at = 0; at <= name.size();) {
    const std::size_t end = std::min(name.find('/', at), name.size());
    if (end == at || name[at] == '.') return false;
    at = end + 1;
  }
  return true;
}

bool IsBelow(const std::string& path, const std::string& folder) {
  return path == folder || (path.starts_with(folder) && (folder.ends_with('/') || path[folder.size()] == '/'));
}

CServedFolder::SFile FileOf(const std::string& path, const std::string& name) {
  CServedFolder::SFile file{name, 0, 0.0};
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return file;
  file.size = S_ISREG(status.st_mode) ? status.st_size : 0;
  file.lastWritten = JulianDayOf(static_cast<double>(status.st_mtime));
  return file;
}

}  // namespace

CServedFolder::CServedFolder(const std::string& folder) : m_path(AbsolutePath(folder)) {
  std::error_code error;
  m_real = fs::canonical(m_path, error).string();
  if (error) throw CHostError(fmt::format("{}: {}", Printable(folder), error.message()));
  if (!fs::is_directory(m_real, error)) throw CHostError(fmt::format("{} is no folder", Printable(folder)));
  if (m_path.size() > 1 && m_path.ends_with('/')) m_path.pop_back();
}

std::optional<std::string> CServedFolder::Resolve(const std::string& name) const {
  if (name.empty()) return m_path;
  std::error_code error;
  std::string below = name;
  if (!fs::exists(m_real + "/" + below, error)) below = UnescapeBytes(name);
  if (!IsPlainName(below)) return {};
  const std::string wanted = (fs::path(m_real) / below).string();
  const std::string real = fs::canonical(wanted, error).string();
  if (error || !IsBelow(real, m_real)) return {};
  // Under the name by which the user called the folder, so that the database knows its thumbnails.
  return real == wanted ? (fs::path(m_path) / below).string() : real;
}

CServedFolder::SListing CServedFolder::List(const std::string& path) const {
  SListing listing;
  const SFolderContent content = ListImageFolder(path);
  const std::size_t lead = path.ends_with('/') ? path.size() : path.size() + 1;
  for (const std::string& folder : content.folders) listing.folders.push_back(EscapeInvalidUtf8(folder.substr(lead)));
  listing.files.reserve(content.files.size());
  const auto add = [&](const std::string& file) {
    listing.files.push_back(FileOf(file, EscapeInvalidUtf8(file.substr(lead))));
  };
  for (const std::string& file : content.files) add(file);
  for (const std::string& link : content.links) {
    std::error_code error;
    if (IsBelow(fs::canonical(link, error).string(), m_real)) add(link);
  }
  listing.problem = content.problem;
  return listing;
}

std::optional<CServedFolder::SFile> CServedFolder::FileAt(const std::string& path) const {
  const std::string lead = m_path.ends_with('/') ? m_path : m_path + "/";
  if (!path.starts_with(lead) || path.size() == lead.size()) return {};
  const std::string name = EscapeInvalidUtf8(path.substr(lead.size()));
  if (!Resolve(name)) return {};
  return FileOf(path, name);
}

}  // namespace qvhost
