#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qvhost {

// The folder that a server shows, and what may be named in it. Names are relative to it, with '/' between; bytes that
// are no UTF-8 stand as \xNN. Nothing outside of it is reached, through no link either. Any thread.
class CServedFolder {
 public:
  struct SFile {
    std::string name;          // in its folder
    std::int64_t size = 0;     // bytes
    double lastWritten = 0.0;  // Julian day number
  };
  struct SListing {
    std::vector<std::string> folders;  // names
    std::vector<SFile> files;
    std::string problem;  // why not all could be listed; empty: all was
  };

  // Throws CHostError when it is no folder that can be read.
  explicit CServedFolder(const std::string& folder);

  const std::string& Path() const noexcept { return m_path; }
  // The absolute path of a name; "" is the folder itself. None when it leads to nothing in the folder, or to what is
  // hidden.
  std::optional<std::string> Resolve(const std::string& name) const;
  // The pictures of a folder and the folders in it; `path` as Resolve gave it. In no particular order.
  SListing List(const std::string& path) const;
  // A picture at an absolute path, its name that in the served folder. None when Resolve gives none for it.
  std::optional<SFile> FileAt(const std::string& path) const;

 private:
  std::string m_path;  // as the user named it
  std::string m_real;  // without links
};

}  // namespace qvhost
