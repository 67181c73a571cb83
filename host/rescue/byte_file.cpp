#include "host/rescue/byte_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace qvhost {

CByteFile::CByteFile(const std::string& path) : m_file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  if (m_file < 0) return;
  if (fstat(m_file, &m_status) == 0 && S_ISREG(m_status.st_mode)) return;
  close(m_file);
  m_file = -1;
}

CByteFile::~CByteFile() {
  if (m_file >= 0) close(m_file);
}

std::size_t CByteFile::Read(std::int64_t offset, std::span<std::uint8_t> bytes) const {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t got =
        pread(m_file, bytes.data() + done, bytes.size() - done, offset + static_cast<std::int64_t>(done));
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
    done += static_cast<std::size_t>(got);
  }
  return done;
}

}  // namespace qvhost
