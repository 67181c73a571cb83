#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/output/output_target.h"

namespace qvhost {

// How a file is written.
enum class EPlacing {
  Renamed,  // beside its name first, under which it appears only when it is complete
  InPlace,  // into the file that is there, which somebody else may have open; emptied when it is not committed
};

// What a command writes; it is dropped when it is not committed. A stream gets the bytes as they come. Failures throw
// CHostError.
class COutputFile {
 public:
  explicit COutputFile(const COutputTarget& target, EPlacing placing = EPlacing::Renamed);
  COutputFile(const COutputFile&) = delete;
  COutputFile& operator=(const COutputFile&) = delete;
  ~COutputFile();

  void Write(std::string_view bytes);
  void Commit();

 private:
  void OpenStream(const COutputTarget& target);
  void OpenBeside(const COutputTarget& target);
  void OpenInPlace();
  [[noreturn]] void Fail() const;
  void Flush();

  const std::string m_name;
  const std::string m_path;
  std::string m_temporary;  // of a file that is to be renamed
  bool m_isInPlace = false;
  std::string m_buffer;
  int m_file = -1;
};

}  // namespace qvhost
