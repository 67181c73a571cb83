#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "host/session/temporary_folder.h"

namespace qvhost {

// A database that is made in a folder of its own beside its name and appears under it when it is complete. Goes
// without a trace when it is not committed.
class CNewDatabase {
 public:
  // Throws CHostError when something stands under that name, with `whyNot` behind it.
  CNewDatabase(const std::string& name, const char* whyNot);
  CNewDatabase(const CNewDatabase&) = delete;
  CNewDatabase& operator=(const CNewDatabase&) = delete;

  const std::string& Name() const noexcept { return m_name; }
  const std::string& FolderPath() const noexcept { return m_folder->Path(); }
  // Where to make it.
  std::string FilePath() const { return FolderPath() + "/file.db"; }

  // Gives it these rights, or those of another file (file_rights.h), and its name. No connection is open. Throws
  // CHostError.
  void Commit(mode_t rights);
  void CommitLike(const struct stat& model);

 private:
  [[noreturn]] void Fail(const char* problem) const;
  [[noreturn]] void RefuseTaken() const;

  const std::string m_name;
  const char* const m_whyNot;
  std::optional<CTemporaryFolder> m_folder;
};

}  // namespace qvhost
