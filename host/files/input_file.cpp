#include "host/files/input_file.h"

#include <fmt/format.h>
#include <stdlib.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <vector>

#include "host/files/file_uri.h"
#include "host/host_error.h"
#include "host/session/interrupt.h"

namespace qvhost {
namespace {

constexpr std::size_t kCopyBlock = 1 << 16;

bool WriteAll(int file, const char* from, std::size_t left) {
  while (left > 0) {
    const ssize_t written = write(file, from, left);
    if (written < 0 && errno != EINTR) return false;
    if (written < 0) continue;
    from += written;
    left -= static_cast<std::size_t>(written);
  }
  return true;
}

// 0, or the error's number.
int CopyAll(int from, int to) {
  std::vector<char> block(kCopyBlock);
  for (;;) {
    CInterrupt::ThrowIfRequested("interrupted");
    const ssize_t got = read(from, block.data(), block.size());
    if (got == 0) return 0;
    if (got < 0 && errno == EINTR) continue;
    if (got < 0 || !WriteAll(to, block.data(), static_cast<std::size_t>(got))) return errno;
  }
}

}  // namespace

CInputFile::CInputFile(const std::string& name) : m_name(name) {
  if (name != "-") {
    m_path = PathOfUri(name);
    return;
  }
  m_name = "standard input";
  CopyStandardInput();
}

void CInputFile::CopyStandardInput() {
  std::error_code error;
  const std::filesystem::path folder = std::filesystem::temp_directory_path(error);
  m_path = (error ? std::filesystem::path("/tmp") : folder) / "qvthumbs.XXXXXX";
  const int file = mkstemp(m_path.data());
  int failed = file < 0 ? errno : 0;
  m_isCopy = file >= 0;
  try {
    if (file >= 0) failed = CopyAll(STDIN_FILENO, file);
  } catch (...) {
    close(file);
    unlink(m_path.c_str());
    throw;
  }
  if (file >= 0 && close(file) != 0 && failed == 0) failed = errno;
  if (failed == 0) return;
  if (m_isCopy) unlink(m_path.c_str());
  throw CHostError(fmt::format("standard input cannot be copied into {}: {}", folder.string(), std::strerror(failed)));
}

CInputFile::~CInputFile() {
  if (m_isCopy) unlink(m_path.c_str());
}

}  // namespace qvhost
