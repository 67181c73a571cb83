#include "tests/support/temp_folder.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>

#include "system/qvstring.h"
#include "tests/support/file_bytes.h"

namespace qvtest {
namespace {

std::filesystem::path Parent() {
  const std::filesystem::path memory = "/dev/shm";
  const bool inMemory = std::getenv("TMPDIR") == nullptr && access(memory.c_str(), W_OK) == 0;
  return inMemory ? memory : std::filesystem::temp_directory_path();
}

}  // namespace

CTempFolder::CTempFolder() {
  static std::atomic<int> number{0};
  // A process of the same id may have left its folders behind.
  do {
    m_path = Parent() / ("qvtest-" + std::to_string(getpid()) + "-" + std::to_string(number++));
  } while (!std::filesystem::create_directory(m_path));
}

CTempFolder::~CTempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

std::wstring CTempFolder::Wide() const { return CQvStringUtils::UTF8toW(m_path).Str(); }

std::wstring CTempFolder::Wide(std::string_view name) const { return CQvStringUtils::UTF8toW(Path(name)).Str(); }

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
  return MakeFile(name, {reinterpret_cast<const std::uint8_t*>(content.data()), content.size()});
}

std::string CTempFolder::MakeFile(std::string_view name, std::span<const std::uint8_t> content) const {
  std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
  WriteFile(Path(name), content);
  return Path(name);
}

}  // namespace qvtest
