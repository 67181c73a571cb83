#include "platform/imageformats/jpeg/block_means/bit_reader.h"

namespace imageformats {

// Keeps what is left, so that a marker is never cut in two.
std::size_t CJpegBitReader::ReadRaw() noexcept {
  const std::size_t left = m_rawEnd - m_rawNext;
  std::memmove(m_raw, m_raw + m_rawNext, left);
  const std::size_t count = m_input.ReadAt(m_rawOffset, m_raw + left, sizeof m_raw - left);
  m_rawNext = 0;
  m_rawEnd = left + count;
  m_rawOffset += count;
  return m_rawEnd;
}

// Brings further bytes to the few that are left; false when there are none before the next marker.
bool CJpegBitReader::Unstuff() noexcept {
  if (m_atMarker) return false;
  const auto left = static_cast<std::size_t>(m_bits.end - m_bits.next);
  std::memmove(m_buffer, m_bits.next, left);
  if (m_rawEnd - m_rawNext < 2) ReadRaw();
  std::uint8_t* out = m_buffer + left;
  const std::uint8_t* from = m_raw + m_rawNext;
  const std::uint8_t* const end = m_raw + m_rawEnd;
  for (;;) {
    const auto* found = static_cast<const std::uint8_t*>(std::memchr(from, 0xFF, static_cast<std::size_t>(end - from)));
    const auto plain = static_cast<std::size_t>((found == nullptr ? end : found) - from);
    std::memcpy(out, from, plain);
    out += plain;
    from += plain;
    if (end - from < 2 || from[1] != 0) break;
    *out++ = 0xFF;
    from += 2;
  }
  m_rawNext = static_cast<std::size_t>(from - m_raw);
  const bool isAny = out != m_buffer + left;
  m_atMarker = end - from >= 2 || !isAny;
  m_bits.next = m_buffer;
  m_bits.end = out;
  return isAny;
}

void CJpegBitReader::RefillByBytes() noexcept {
  if (m_bits.end - m_bits.next < 8) Unstuff();
  for (; m_bits.count < 56; m_bits.count += 8) {
    if (m_bits.next == m_bits.end && !Unstuff()) {
      m_padding += 8;
    } else {
      m_bits.word |= std::uint64_t{*m_bits.next++} << (56 - m_bits.count);
    }
  }
}

bool CJpegBitReader::SkipRestartMarker(unsigned number) noexcept {
  if (IsOverrun() || m_bits.count - m_padding >= 8 || m_bits.next != m_bits.end || Unstuff()) return false;
  if (m_rawEnd - m_rawNext < 2 && ReadRaw() < 2) return false;
  if (m_raw[m_rawNext] != 0xFF || m_raw[m_rawNext + 1] != 0xD0 + number) return false;
  m_rawNext += 2;
  m_bits.word = 0;
  m_bits.count = m_padding = 0;
  m_atMarker = false;
  return true;
}

}  // namespace imageformats
