#include "tests/thumbnailcache/support/temp_folder.h"

#include <unistd.h>

#include <atomic>
#include <fstream>

#include "system/qvstring.h"

namespace qvtest {

TempFolder::TempFolder() {
  const std::filesystem::path memory = "/dev/shm";
  const std::filesystem::path parent =
      access(memory.c_str(), W_OK) == 0 ? memory : std::filesystem::temp_directory_path();
  static std::atomic<int> number{0};
  m_path = parent / ("qvtest-" + std::to_string(getpid()) + "-" + std::to_string(number++));
  std::filesystem::create_directories(m_path);
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::wstring TempFolder::Wide(const std::string& name) const { return CQvStringUtils::UTF8toW(File(name)).Str(); }

std::wstring TempFolder::Create(const std::string& name, const std::string& content) const {
  std::ofstream(File(name), std::ios::binary) << content;
  return Wide(name);
}

}  // namespace qvtest
