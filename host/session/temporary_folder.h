#pragma once

#include <string>

namespace qvhost {

// A new folder that only this user can look into. It goes with the object, and all that is in it.
class CTemporaryFolder {
 public:
  // Named after `lead`. Where none can be made, errno says why.
  explicit CTemporaryFolder(const std::string& lead);
  // Among the system's temporary files.
  CTemporaryFolder();
  CTemporaryFolder(const CTemporaryFolder&) = delete;
  CTemporaryFolder& operator=(const CTemporaryFolder&) = delete;
  ~CTemporaryFolder();

  bool IsMade() const noexcept { return m_isMade; }
  // Where it is, or was to be.
  const std::string& Path() const noexcept { return m_path; }

 private:
  std::string m_path;
  bool m_isMade = false;
};

}  // namespace qvhost
