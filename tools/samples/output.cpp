#include "tools/samples/output.h"

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace fs = std::filesystem;

COutput::COutput(fs::path root) : m_root(std::move(root)) {
  std::error_code error;
  fs::create_directories(m_root, error);
  if (error) throw std::runtime_error("cannot create the folder " + m_root.string() + ": " + error.message());
}

fs::path COutput::Add(const std::string& relativeName) {
  const fs::path path = m_root / relativeName;
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  if (error)
    throw std::runtime_error("cannot create the folder " + path.parent_path().string() + ": " + error.message());
  ++m_count;
  return path;
}

void COutput::Write(const std::string& relativeName, const CBytes& bytes) {
  Add(relativeName);
  Replace(relativeName, bytes);
}

void COutput::Replace(const std::string& relativeName, const CBytes& bytes) {
  const fs::path path = m_root / relativeName;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (!file) throw std::runtime_error("cannot write " + path.string());
}

void COutput::Write(const std::string& relativeName, const std::string& text) {
  Write(relativeName, CBytes(text.begin(), text.end()));
}

CBytes COutput::Read(const std::string& relativeName) const {
  std::ifstream file(m_root / relativeName, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + (m_root / relativeName).string());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
