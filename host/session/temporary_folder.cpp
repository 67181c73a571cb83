#include "host/session/temporary_folder.h"

#include <stdlib.h>

#include <filesystem>

namespace qvhost {

CTemporaryFolder::CTemporaryFolder(const std::string& lead) : m_path(lead + ".XXXXXX") {
  std::string path = m_path;  // its letters are undefined when that fails
  m_isMade = mkdtemp(path.data()) != nullptr;
  if (m_isMade) m_path = path;
}

CTemporaryFolder::CTemporaryFolder()
    : CTemporaryFolder((std::filesystem::temp_directory_path() / "qvthumbs").string()) {}

CTemporaryFolder::~CTemporaryFolder() {
  std::error_code ignored;
  if (m_isMade) std::filesystem::remove_all(m_path, ignored);
}

}  // namespace qvhost
