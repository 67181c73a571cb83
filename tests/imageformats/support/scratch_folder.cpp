#include "tests/imageformats/support/scratch_folder.h"

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

CScratchFolder::CScratchFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "qv_imageformats_XXXXXX").string();
  if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
  m_path = pattern;
}

CScratchFolder::~CScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

CQvStringW CScratchFolder::Write(const std::string& name, std::span<const std::uint8_t> bytes) const {
  const std::string path = m_path + "/" + name;
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file) throw std::runtime_error("cannot write " + path);
  return PathOf(name);
}

CQvStringW CScratchFolder::Write(const std::string& name, const std::string& text) const {
  return Write(name, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
}

CQvStringW CScratchFolder::PathOf(const std::string& name) const {
  return CQvStringUtils::UTF8toW((m_path + "/" + name).c_str());
}
