#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Markers by their names in T.81, table B.1.
inline constexpr std::uint8_t kMarkerSof0 = 0xC0;   // baseline
inline constexpr std::uint8_t kMarkerSof1 = 0xC1;   // extended
inline constexpr std::uint8_t kMarkerSof2 = 0xC2;   // progressive
inline constexpr std::uint8_t kMarkerSof9 = 0xC9;   // extended, arithmetic coding
inline constexpr std::uint8_t kMarkerSof10 = 0xCA;  // progressive, arithmetic coding
inline constexpr std::uint8_t kMarkerSof15 = 0xCF;
inline constexpr std::uint8_t kMarkerDht = 0xC4, kMarkerJpg = 0xC8, kMarkerDac = 0xCC;
inline constexpr std::uint8_t kMarkerTem = 0x01, kMarkerRst0 = 0xD0, kMarkerRst7 = 0xD7;
inline constexpr std::uint8_t kMarkerSoi = 0xD8, kMarkerEoi = 0xD9, kMarkerSos = 0xDA;
inline constexpr std::uint8_t kMarkerDqt = 0xDB, kMarkerDnl = 0xDC, kMarkerDri = 0xDD;
inline constexpr std::uint8_t kMarkerApp0 = 0xE0, kMarkerApp1 = 0xE1, kMarkerApp2 = 0xE2, kMarkerApp14 = 0xEE;
inline constexpr std::uint8_t kMarkerCom = 0xFE;
// More than any segment's payload has.
inline constexpr std::size_t kMaxPayload = 65536;

// Markers without a length: TEM, SOI, RST0..RST7.
constexpr bool IsStandaloneMarker(std::uint8_t m) noexcept {
  return m == kMarkerTem || m == kMarkerSoi || (m >= kMarkerRst0 && m <= kMarkerRst7);
}
// SOF0..SOF15.
constexpr bool IsFrameMarker(std::uint8_t m) noexcept {
  return m >= kMarkerSof0 && m <= kMarkerSof15 && m != kMarkerDht && m != kMarkerJpg && m != kMarkerDac;
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
  std::optional<std::vector<std::uint8_t>> ReadPayload(std::size_t most);

  std::uint64_t Position() const noexcept { return m_offset - (m_end - m_next); }
  void Seek(std::uint64_t position) noexcept;

 private:
  bool Fill() noexcept;
  std::optional<std::uint8_t> ReadByte() noexcept;

  const CInput& m_input;
  std::uint64_t m_offset;  // of the buffer's end
  std::size_t m_next = 0, m_end = 0;
  std::uint8_t m_buffer[16384];
};

}  // namespace imageformats
