#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Reads an input from front to back in small pieces. The input must outlive it.
class CBufferedInput {
 public:
  explicit CBufferedInput(const CInput& input, std::uint64_t offset = 0) noexcept : m_input(input), m_behind(offset) {}

  // Offset of the next byte.
  std::uint64_t Position() const noexcept { return m_behind - (m_end - m_next); }

  // The next byte; -1 at the end.
  int Get() noexcept { return m_next < m_end || Fill() ? m_buffer[m_next++] : -1; }
  int Peek() noexcept { return m_next < m_end || Fill() ? m_buffer[m_next] : -1; }

  // Copies up to `size` bytes; returns how many there were.
  std::size_t Read(void* out, std::size_t size) noexcept {
    std::size_t done = 0;
    while (done < size && (m_next < m_end || Fill())) {
      const std::size_t count = std::min(size - done, m_end - m_next);
      std::memcpy(static_cast<std::uint8_t*>(out) + done, m_buffer.data() + m_next, count);
      m_next += count;
      done += count;
    }
    return done;
  }

  // Steps over bytes, also over the end.
  void Skip(std::uint64_t count) noexcept {
    const std::uint64_t target = Position() + count;
    if (count <= m_end - m_next) {
      m_next += static_cast<std::size_t>(count);
    } else {
      m_next = m_end = 0;
      m_behind = target;
    }
  }

 private:
  bool Fill() noexcept {
    m_next = 0;
    m_end = m_input.ReadAt(m_behind, m_buffer.data(), m_buffer.size());
    m_behind += m_end;
    return m_end != 0;
  }

  const CInput& m_input;
  std::uint64_t m_behind;  // offset behind the buffer
  std::size_t m_next = 0, m_end = 0;
  std::array<std::uint8_t, 16384> m_buffer;
};

}  // namespace imageformats
