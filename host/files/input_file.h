#pragma once

#include <string>

namespace qvhost {

// An image that the user named: a file, by its path or its URI, or standard input for "-", of which a copy lies in the
// folder for temporary files while this lives. Throws CHostError.
class CInputFile {
 public:
  explicit CInputFile(const std::string& name);
  CInputFile(const CInputFile&) = delete;
  CInputFile& operator=(const CInputFile&) = delete;
  ~CInputFile();

  const std::string& Path() const noexcept { return m_path; }
  // For people.
  const std::string& Name() const noexcept { return m_name; }
  bool IsStandardInput() const noexcept { return m_isCopy; }

 private:
  void CopyStandardInput();

  std::string m_name, m_path;
  bool m_isCopy = false;
};

}  // namespace qvhost
