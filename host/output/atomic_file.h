#pragma once

#include <cstddef>
#include <string>

namespace qvhost {

// A file that appears under its name only when it is complete: written beside it, then renamed. Dropped when it is not
// committed. Failures throw CHostError.
class CAtomicFile {
 public:
  explicit CAtomicFile(const std::string& path);
  CAtomicFile(const CAtomicFile&) = delete;
  CAtomicFile& operator=(const CAtomicFile&) = delete;
  ~CAtomicFile();

  void Write(const void* data, std::size_t size);
  void Write(const std::string& text) { Write(text.data(), text.size()); }
  void Commit();

 private:
  [[noreturn]] void Fail() const;
  void Flush();

  std::string m_path;
  std::string m_temporary;
  std::string m_buffer;
  int m_file = -1;
};

}  // namespace qvhost
