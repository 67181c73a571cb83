#pragma once

#include <dirent.h>
#include <unistd.h>

#include <memory>
#include <utility>

// A file descriptor that is closed unless it is handed on.
class CDescriptor {
 public:
  // Negative for none.
  explicit CDescriptor(int fd) noexcept : m_fd(fd) {}
  ~CDescriptor() {
    if (m_fd >= 0) ::close(m_fd);
  }
  CDescriptor(const CDescriptor&) = delete;
  CDescriptor& operator=(const CDescriptor&) = delete;

  int Get() const noexcept { return m_fd; }
  int Detach() noexcept { return std::exchange(m_fd, -1); }
  void Reset(int fd) noexcept {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd;
};

struct SCloseFolder {
  void operator()(DIR* folder) const noexcept { ::closedir(folder); }
};
using CFolderHandle = std::unique_ptr<DIR, SCloseFolder>;
