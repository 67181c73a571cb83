#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/imageformats/base/input.h"

namespace imageformats {

constexpr std::uint8_t kJpegEnd = 0xD9;   // EOI
constexpr std::uint8_t kJpegScan = 0xDA;  // SOS

// Markers without a length: TEM, SOI, RST0..RST7.
constexpr bool IsLoneJpegMarker(std::uint8_t m) noexcept { return m == 0x01 || m == 0xD8 || (m >= 0xD0 && m <= 0xD7); }
// SOF0..SOF15.
constexpr bool IsJpegFrame(std::uint8_t m) noexcept {
  return m >= 0xC0 && m <= 0xCF && m != 0xC4 && m != 0xC8 && m != 0xCC;
}

// Walks the markers of a JPEG stream (T.81, annex B) through a buffer, from segment to segment and over entropy-coded
// data.
class CMarkerReader {
 public:
  CMarkerReader(const CInput& input, std::uint64_t offset) noexcept : m_input(input), m_offset(offset) {}

  // The next marker, whatever lies before it; nothing at the end of the data.
  std::optional<std::uint8_t> NextMarker() noexcept;
  // The payload of the segment whose marker was just read, up to `most` bytes of it; the reader then stands behind the
  // segment. Nothing when the length is impossible or the data ends within.
  std::optional<std::vector<std::uint8_t>> Payload(std::size_t most);

  std::uint64_t Position() const noexcept { return m_offset - (m_end - m_next); }
  void Seek(std::uint64_t position) noexcept;

 private:
  bool Fill() noexcept;
  std::optional<std::uint8_t> Byte() noexcept;

  const CInput& m_input;
  std::uint64_t m_offset;  // of the buffer's end
  std::size_t m_next = 0, m_end = 0;
  std::uint8_t m_buffer[16384];
};

}  // namespace imageformats
