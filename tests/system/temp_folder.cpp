#include "tests/system/temp_folder.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>

CTempFolder::CTempFolder() {
  static std::atomic<int> number{0};
  m_path = std::filesystem::temp_directory_path() /
           ("qv_system_test_" + std::to_string(::getpid()) + "_" + std::to_string(number++));
  std::filesystem::create_directories(m_path);
}

CTempFolder::~CTempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::wstring CTempFolder::Lower(std::string_view name) const {
  std::wstring path = Wide(name);
  CQvStringUtils::ToLower(path);
  return path;
}

std::string CTempFolder::MakeFolder(std::string_view name) const {
  std::filesystem::create_directories(Path(name));
  return Path(name);
}

std::string CTempFolder::MakeFile(std::string_view name, std::string_view content) const {
  std::ofstream file(Path(name), std::ios::binary);
  file << content;
  file.close();
  EXPECT_TRUE(file) << Path(name);
  return Path(name);
}
