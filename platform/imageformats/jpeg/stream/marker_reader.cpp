#include "platform/imageformats/jpeg/stream/marker_reader.h"

#include <algorithm>
#include <cstring>

namespace imageformats {

std::optional<std::uint8_t> CMarkerReader::NextMarker() noexcept {
  while (Fill()) {
    const auto* found = static_cast<const std::uint8_t*>(std::memchr(m_buffer + m_next, 0xFF, m_end - m_next));
    if (found == nullptr) {
      m_next = m_end;
      continue;
    }
    m_next = static_cast<std::size_t>(found - m_buffer) + 1;
    std::optional<std::uint8_t> code = ReadByte();
    while (code == 0xFF) code = ReadByte();
    if (code && *code != 0) return code;
  }
  return std::nullopt;
}

std::optional<std::vector<std::uint8_t>> CMarkerReader::ReadPayload(std::size_t most) {
  const auto high = ReadByte(), low = ReadByte();
  if (!high || !low) return std::nullopt;
  const std::size_t length = static_cast<std::size_t>(*high) << 8 | *low;
  if (length < 2) return std::nullopt;
  const std::uint64_t start = Position();
  if (start + length - 2 > m_input.Size()) return std::nullopt;
  std::vector<std::uint8_t> payload(std::min(length - 2, most));
  payload.resize(m_input.ReadAt(start, payload.data(), payload.size()));
  Seek(start + length - 2);
  return payload;
}

void CMarkerReader::Seek(std::uint64_t position) noexcept {
  if (position <= m_offset && position + m_end >= m_offset) {
    m_next = m_end - static_cast<std::size_t>(m_offset - position);
  } else {
    m_offset = position;
    m_next = m_end = 0;
  }
}

bool CMarkerReader::Fill() noexcept {
  if (m_next < m_end) return true;
  m_next = 0;
  m_end = m_input.ReadAt(m_offset, m_buffer, sizeof m_buffer);
  m_offset += m_end;
  return m_end != 0;
}

std::optional<std::uint8_t> CMarkerReader::ReadByte() noexcept {
  if (!Fill()) return std::nullopt;
  return m_buffer[m_next++];
}

}  // namespace imageformats
