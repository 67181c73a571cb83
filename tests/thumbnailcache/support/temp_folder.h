#pragma once

#include <filesystem>
#include <string>

namespace qvtest {

// A folder of its own for a test, with a lower-case name, removed with everything in it. In memory where the system has
// such a place: databases that are synced to a disk at every write are not what is tested.
class TempFolder {
 public:
  TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder();

  const std::filesystem::path& Path() const { return m_path; }
  std::string File(const std::string& name) const { return (m_path / name).string(); }
  std::wstring Wide(const std::string& name) const;
  // Makes a file and gives its path.
  std::wstring Create(const std::string& name, const std::string& content = "content") const;

 private:
  std::filesystem::path m_path;
};

}  // namespace qvtest
