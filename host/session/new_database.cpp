#include "host/session/new_database.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/file_rights.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

bool Sync(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool done = fsync(file) == 0;
  close(file);
  return done;
}

}  // namespace

CNewDatabase::CNewDatabase(const std::string& name, const char* whyNot) : m_name(AbsolutePath(name)), m_whyNot(whyNot) {
  std::error_code error;
  if (fs::exists(fs::symlink_status(m_name, error))) RefuseTaken();
  m_folder.emplace(m_name);
  if (!m_folder->IsMade()) Fail("create");
}

void CNewDatabase::RefuseTaken() const {
  throw CHostError(fmt::format("{} is there already; {}", Printable(m_name), m_whyNot));
}

void CNewDatabase::Fail(const char* problem) const {
  throw CHostError(fmt::format("cannot {} {}: {}", problem, Printable(m_name), std::strerror(errno)));
}

void CNewDatabase::Commit(mode_t rights) {
  if (chmod(FilePath().c_str(), rights) != 0 || !Sync(FilePath())) Fail("write");
  // Unlike a rename it never replaces; where there are no hard links, nobody else is to take the name meanwhile.
  if (link(FilePath().c_str(), m_name.c_str()) != 0) {
    if (errno == EEXIST) RefuseTaken();
    if (std::rename(FilePath().c_str(), m_name.c_str()) != 0) Fail("write");
  }
  Sync(fs::path(m_name).parent_path().string());
}

void CNewDatabase::CommitLike(const struct stat& model) {
  const int file = open(FilePath().c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) Fail("write");
  const mode_t rights = ShareLike(model, file);
  close(file);
  Commit(rights);
}

}  // namespace qvhost
