#include "host/output/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

constexpr std::size_t kBufferSize = 1 << 16;

// What a new file would have got; mkstemp gives access to its owner only.
mode_t DefaultMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

}  // namespace

COutputFile::COutputFile(const COutputTarget& target, EPlacing placing) : m_name(target.Name()), m_path(target.Path()) {
  if (target.IsStream()) {
    OpenStream(target);
  } else if (placing == EPlacing::InPlace) {
    OpenInPlace();
  } else {
    OpenBeside(target);
  }
}

COutputFile::~COutputFile() {
  if (m_file >= 0) {
    if (m_isInPlace && ftruncate(m_file, 0) != 0) errno = 0;
    close(m_file);
  }
  if (!m_temporary.empty()) unlink(m_temporary.c_str());
}

void COutputFile::OpenStream(const COutputTarget& target) {
  m_file = target.IsStandardOutput() ? dup(STDOUT_FILENO) : open(m_path.c_str(), O_WRONLY | O_CLOEXEC);
  if (m_file < 0) Fail();
}

void COutputFile::OpenBeside(const COutputTarget& target) {
  m_temporary = m_path + ".XXXXXX";
  m_file = mkstemp(m_temporary.data());
  if (m_file < 0) {
    m_temporary.clear();
    Fail();
  }
  const auto& replaced = target.Present();
  // Only root may give a file away.
  if (replaced && fchown(m_file, replaced->st_uid, replaced->st_gid) != 0) errno = 0;
  fchmod(m_file, replaced ? replaced->st_mode & 0777 : DefaultMode());
}

void COutputFile::OpenInPlace() {
  m_file = open(m_path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (m_file < 0) Fail();
  m_isInPlace = true;
}

void COutputFile::Fail() const {
  throw CHostError(fmt::format("cannot write {}: {}", Printable(m_name), std::strerror(errno)));
}

void COutputFile::Flush() {
  const char* from = m_buffer.data();
  std::size_t left = m_buffer.size();
  while (left > 0) {
    const ssize_t written = write(m_file, from, left);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) Fail();
    from += written;
    left -= static_cast<std::size_t>(written);
  }
  m_buffer.clear();
}

void COutputFile::Write(std::string_view bytes) {
  m_buffer += bytes;
  if (m_buffer.size() >= kBufferSize) Flush();
}

void COutputFile::Commit() {
  Flush();
  const int closed = close(m_file);
  m_file = -1;
  if (closed != 0) Fail();
  if (m_temporary.empty()) return;
  if (std::rename(m_temporary.c_str(), m_path.c_str()) != 0) Fail();
  m_temporary.clear();
}

}  // namespace qvhost
