#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace qvtest {

// A folder of its own, removed with everything in it when the object goes. Below TMPDIR; without that in memory where
// the system has a place for it: waiting for a disk at every write is not what is tested. The part of its path that it
// chooses itself has lower-case letters only. Operations throw std::runtime_error.
class CTempFolder {
 public:
  CTempFolder();
  ~CTempFolder();
  CTempFolder(const CTempFolder&) = delete;
  CTempFolder& operator=(const CTempFolder&) = delete;

  const std::string& Path() const { return m_path; }
  std::string Path(std::string_view name) const { return m_path + "/" + std::string(name); }
  std::wstring Wide() const;
  std::wstring Wide(std::string_view name) const;
  // The same, lower-cased as a stored location is.
  std::wstring Lower(std::string_view name) const;

  // Creates folders, with their parents, and files, with their content. Both return the path.
  std::string MakeFolder(std::string_view name) const;
  std::string MakeFile(std::string_view name, std::string_view content = "x") const;
  std::string MakeFile(std::string_view name, std::span<const std::uint8_t> content) const;
  // MakeFile, with the wide path.
  template <class Content>
  std::wstring MakeFileWide(std::string_view name, const Content& content) const {
    MakeFile(name, content);
    return Wide(name);
  }
  std::wstring MakeFileWide(std::string_view name) const { return MakeFileWide(name, "x"); }

 private:
  std::string m_path;
};

}  // namespace qvtest
