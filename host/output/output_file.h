#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/output/output_target.h"

namespace qvhost {

// What a command writes. A file appears under its name only when it is complete: it is written beside it, then renamed,
// and dropped when it is not committed. A stream gets the bytes as they come. Failures throw CHostError.
class COutputFile {
 public:
  explicit COutputFile(const COutputTarget& target);
  COutputFile(const COutputFile&) = delete;
  COutputFile& operator=(const COutputFile&) = delete;
  ~COutputFile();

  void Write(std::string_view bytes);
  void Commit();

 private:
  void OpenStream(const COutputTarget& target);
  void OpenBeside(const COutputTarget& target);
  [[noreturn]] void Fail() const;
  void Flush();

  const std::string m_name;
  const std::string m_path;
  std::string m_temporary;  // empty for a stream
  std::string m_buffer;
  int m_file = -1;
};

}  // namespace qvhost
