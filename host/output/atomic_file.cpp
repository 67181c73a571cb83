#include "host/output/atomic_file.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/host_error.h"

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

CAtomicFile::CAtomicFile(const std::string& path) : m_path(path), m_temporary(path + ".XXXXXX") {
  m_file = mkstemp(m_temporary.data());
  if (m_file < 0) {
    m_temporary.clear();
    Fail();
  }
  fchmod(m_file, DefaultMode());
}

CAtomicFile::~CAtomicFile() {
  if (m_file >= 0) close(m_file);
  if (!m_temporary.empty()) unlink(m_temporary.c_str());
}

void CAtomicFile::Fail() const { throw CHostError(fmt::format("cannot write {}: {}", m_path, std::strerror(errno))); }

void CAtomicFile::Flush() {
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

void CAtomicFile::Write(const void* data, std::size_t size) {
  m_buffer.append(static_cast<const char*>(data), size);
  if (m_buffer.size() >= kBufferSize) Flush();
}

void CAtomicFile::Commit() {
  Flush();
  const int closed = close(m_file);
  m_file = -1;
  if (closed != 0 || std::rename(m_temporary.c_str(), m_path.c_str()) != 0) Fail();
  m_temporary.clear();
}

}  // namespace qvhost
