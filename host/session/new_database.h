#pragma once

#include <sys/types.h>

#include <string>

namespace qvhost {

// A database that is made in a folder of its own beside its name and appears under it when it is complete. Goes
// without a trace when it is not committed.
class CNewDatabase {
 public:
  // Throws CHostError when something stands under that name, with `whyNot` behind it.
  CNewDatabase(const std::string& name, const char* whyNot);
  CNewDatabase(const CNewDatabase&) = delete;
  CNewDatabase& operator=(const CNewDatabase&) = delete;
  ~CNewDatabase();

  const std::string& Name() const noexcept { return m_name; }
  std::string FolderPath() const { return m_folder; }
  // Where to make it.
  std::string FilePath() const { return m_folder + "/file.db"; }

  // Gives it these rights and its name. Throws CHostError.
  void Commit(mode_t rights);

 private:
  [[noreturn]] void Fail(const char* problem) const;
  [[noreturn]] void RefuseTaken() const;

  const std::string m_name;
  const char* const m_whyNot;
  std::string m_folder;
};

}  // namespace qvhost
