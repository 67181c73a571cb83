#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

using CBytes = std::vector<std::uint8_t>;

// The folder that the samples are made in. Names are UTF-8 (or, once, deliberately not). Throws std::runtime_error with
// the file's name when something cannot be written.
class COutput {
 public:
  // Creates the folder.
  explicit COutput(std::filesystem::path root);

  // The full path of a file, its folders created; the file counts as made.
  std::filesystem::path Add(const std::string& relativeName);
  void Write(const std::string& relativeName, const CBytes& bytes);
  void Write(const std::string& relativeName, const std::string& text);
  // Writes over a file made before; it counts once.
  void Replace(const std::string& relativeName, const CBytes& bytes);
  // The bytes of a file made before.
  CBytes Read(const std::string& relativeName) const;

  const std::filesystem::path& Root() const { return m_root; }
  int FileCount() const { return m_count; }

 private:
  std::filesystem::path m_root;
  int m_count = 0;
};
