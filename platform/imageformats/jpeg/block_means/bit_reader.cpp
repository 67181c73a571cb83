#include "platform/imageformats/jpeg/block_means/bit_reader.h"

namespace imageformats {

// Keeps what is left, so that a marker is never cut in two.
bool CJpegBitReader::LoadBuffer() noexcept {
  const std::size_t left = m_end - m_next;
  std::memmove(m_buffer, m_buffer + m_next, left);
  const std::size_t count = m_input.ReadAt(m_offset, m_buffer + left, sizeof m_buffer - left);
  m_next = 0;
  m_end = left + count;
  m_offset += count;
  return count != 0;
}

void CJpegBitReader::RefillByBytes() noexcept {
  while (m_count <= 56) {
    if (!m_atMarker && m_end - m_next < 2 && !LoadBuffer() && m_end == m_next) m_atMarker = true;
    if (m_atMarker) {
      m_count += 8;
      m_padding += 8;
      continue;
    }
    const std::uint8_t byte = m_buffer[m_next];
    if (byte == 0xFF) {
      if (m_end - m_next < 2 || m_buffer[m_next + 1] != 0) {
        m_atMarker = true;
        continue;
      }
      ++m_next;
    }
    ++m_next;
    m_bits |= std::uint64_t{byte} << (56 - m_count);
    m_count += 8;
  }
}

bool CJpegBitReader::SkipRestartMarker(unsigned number) noexcept {
  if (IsOverrun() || m_count - m_padding >= 8) return false;
  m_bits = 0;
  m_count = m_padding = 0;
  if (m_end - m_next < 2) LoadBuffer();
  if (m_end - m_next < 2 || m_buffer[m_next] != 0xFF || m_buffer[m_next + 1] != 0xD0 + number) return false;
  m_next += 2;
  m_atMarker = false;
  return true;
}

std::uint64_t CJpegBitReader::Position() const noexcept {
  // Stuffed bytes among those that are still in m_bits are not counted back: what follows is a search for a marker.
  return m_offset - (m_end - m_next);
}

}  // namespace imageformats
