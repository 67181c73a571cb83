#include "tests/samples/sample_folder.h"

#include <filesystem>

#include "tests/support/file_bytes.h"
#include "tools/samples/samples.h"

namespace fs = std::filesystem;

namespace {
constexpr int kSizePercent = 10;
}

CSampleFolder::CSampleFolder(std::uint64_t seed, int count)
    : m_fileCount(MakeSamples({m_folder.Path(), count, seed, kSizePercent})) {}

std::string CSampleFolder::Content(const std::string& name) const { return qvtest::ReadTextFile(Path(name)); }

std::map<std::string, std::string> CSampleFolder::Contents() const {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(m_folder.Path())) {
    if (!entry.is_regular_file()) continue;
    const std::string name = fs::relative(entry.path(), m_folder.Path());
    contents[name] = Content(name);
  }
  return contents;
}

const CSampleFolder& CSampleFolder::Shared() {
  static const CSampleFolder folder;
  return folder;
}
