#pragma once

#include <unistd.h>

#include <utility>

namespace imageformats {

// A file descriptor and its only owner.
class CDescriptor {
 public:
  explicit CDescriptor(int fd = -1) noexcept : m_fd(fd) {}
  CDescriptor(CDescriptor&& other) noexcept : m_fd(other.Release()) {}
  CDescriptor& operator=(CDescriptor&& other) noexcept {
    Reset(other.Release());
    return *this;
  }
  ~CDescriptor() { Reset(); }

  int Get() const noexcept { return m_fd; }
  explicit operator bool() const noexcept { return m_fd >= 0; }
  int Release() noexcept { return std::exchange(m_fd, -1); }
  void Reset(int fd = -1) noexcept {
    if (m_fd >= 0) close(m_fd);
    m_fd = fd;
  }

 private:
  int m_fd;
};

}  // namespace imageformats
