#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

#include "tools/samples/samples.h"

// A folder of small samples that is removed at the end.
class CSampleFolder {
 public:
  explicit CSampleFolder(std::uint64_t seed = 1, int count = 6);
  ~CSampleFolder();
  CSampleFolder(const CSampleFolder&) = delete;
  CSampleFolder& operator=(const CSampleFolder&) = delete;

  // The number that the maker reported.
  int FileCount() const { return m_fileCount; }
  std::filesystem::path Path(const std::string& name) const { return m_root / name; }
  std::string Content(const std::string& name) const;
  // Every file's content by its name below the folder.
  std::map<std::string, std::string> Contents() const;

  // One folder for all the tests that only look.
  static const CSampleFolder& Shared();

 private:
  std::filesystem::path m_root;
  int m_fileCount = 0;
};
