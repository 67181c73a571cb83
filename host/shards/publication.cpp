#include "host/shards/publication.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/session/sqlite.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kReadOnly = 0444;

bool Sync(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0) return false;
  const bool done = fsync(file) == 0;
  close(file);
  return done;
}

[[noreturn]] void RefuseTaken(const std::string& name) {
  throw CHostError(
      fmt::format("{} is there already; a published file stays as it is, so choose a new name", Printable(name)));
}

}  // namespace

CPublication::CPublication(const std::string& name) : m_name(AbsolutePath(name)) {
  std::error_code error;
  if (fs::exists(fs::symlink_status(m_name, error))) RefuseTaken(m_name);
  m_folder = m_name + ".XXXXXX";
  if (!mkdtemp(m_folder.data())) {
    m_folder.clear();
    Fail("create");
  }
  // A thumbnail of 10 kB and its row lie in one page or two, which one request to a server brings.
  OpenConnection(FilePath(), SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE)
      .exec("PRAGMA page_size = 16384; CREATE TABLE first (x); DROP TABLE first");
}

CPublication::~CPublication() {
  std::error_code ignored;
  if (!m_folder.empty()) fs::remove_all(m_folder, ignored);
}

void CPublication::Fail(const char* problem) const {
  throw CHostError(fmt::format("cannot {} {}: {}", problem, Printable(m_name), std::strerror(errno)));
}

void CPublication::Commit() {
  if (chmod(FilePath().c_str(), kReadOnly) != 0 || !Sync(FilePath())) Fail("publish");
  // Unlike a rename it never replaces; where there are no hard links, nobody else is to take the name meanwhile.
  if (link(FilePath().c_str(), m_name.c_str()) != 0) {
    if (errno == EEXIST) RefuseTaken(m_name);
    if (std::rename(FilePath().c_str(), m_name.c_str()) != 0) Fail("publish");
  }
  Sync(fs::path(m_name).parent_path().string());
}

}  // namespace qvhost
