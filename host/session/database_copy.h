#pragma once

#include <string>

#include "host/session/temporary_folder.h"

namespace qvhost {

// A private copy of a database that may only be read: SQLite wants to write beside a database even to read one whose
// write-ahead log or journal is still to be worked in. The copy holds what these files hold. It goes with the object.
class CDatabaseCopy {
 public:
  // Throws CHostError.
  explicit CDatabaseCopy(const std::string& path);
  CDatabaseCopy(const CDatabaseCopy&) = delete;
  CDatabaseCopy& operator=(const CDatabaseCopy&) = delete;

  const std::string& Path() const noexcept { return m_path; }

 private:
  void CopyWhileUnchanged(const std::string& path);

  const CTemporaryFolder m_folder;
  std::string m_path;
};

}  // namespace qvhost
