#pragma once

#include <string>
#include <string_view>

#include "system/qvstring.h"

// A folder of its own for a test, removed with all that is in it. Its path has lower-case letters only.
class CTempFolder {
 public:
  CTempFolder();
  ~CTempFolder();
  CTempFolder(const CTempFolder&) = delete;
  CTempFolder& operator=(const CTempFolder&) = delete;

  const std::string& Path() const { return m_path; }
  std::string Path(std::string_view name) const { return m_path + "/" + std::string(name); }
  std::wstring Wide(std::string_view name) const { return CQvStringUtils::UTF8toW(Path(name)).Str(); }
  // The same, lower-cased as a stored location is.
  std::wstring Lower(std::string_view name) const;

  // Creates folders, with their parents, and files, with their content. Both return the path.
  std::string MakeFolder(std::string_view name) const;
  std::string MakeFile(std::string_view name, std::string_view content = "x") const;

 private:
  std::string m_path;
};
