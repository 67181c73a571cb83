#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "tests/support/temp_folder.h"

// A folder of small samples that is removed at the end.
class CSampleFolder {
 public:
  explicit CSampleFolder(std::uint64_t seed = 1, int count = 6);

  // The number that the maker reported.
  int FileCount() const { return m_fileCount; }
  std::string Path(const std::string& name) const { return m_folder.Path(name); }
  std::string Content(const std::string& name) const;
  // Every file's content by its name below the folder.
  std::map<std::string, std::string> Contents() const;

  // One folder for all the tests that only look.
  static const CSampleFolder& Shared();

 private:
  qvtest::CTempFolder m_folder;
  int m_fileCount = 0;
};
