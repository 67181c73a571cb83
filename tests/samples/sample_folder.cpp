#include "tests/samples/sample_folder.h"

#include <unistd.h>

#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

constexpr int kSizePercent = 10;

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

CSampleFolder::CSampleFolder(std::uint64_t seed, int count) {
  static int number = 0;
  m_root = fs::temp_directory_path() / ("qvsamples_test_" + std::to_string(getpid()) + "_" + std::to_string(number++));
  m_fileCount = MakeSamples({m_root, count, seed, kSizePercent});
}

CSampleFolder::~CSampleFolder() {
  std::error_code ignored;
  fs::remove_all(m_root, ignored);
}

std::string CSampleFolder::Content(const std::string& name) const { return ReadFile(Path(name)); }

std::map<std::string, std::string> CSampleFolder::Contents() const {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_root)) {
    if (entry.is_regular_file()) contents[fs::relative(entry.path(), m_root).string()] = ReadFile(entry.path());
  }
  return contents;
}

const CSampleFolder& CSampleFolder::Shared() {
  static const CSampleFolder folder;
  return folder;
}
