#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Bits of an entropy-coded segment (T.81, F.2.2.5): stuffed zero bytes are taken out; at a marker, or at the end of the
// data, the bits go on as zeros and are counted, so that the caller can tell whether it used any.
class CJpegBitReader {
  friend class CJpegBitWindow;

 public:
  // Stands before entropy-coded data at `offset`.
  CJpegBitReader(const CInput& input, std::uint64_t offset) noexcept : m_input(input), m_offset(offset) {}

  // At least 32 bits can be peeked at afterwards.
  void Refill() noexcept {
    if (m_count > 32) return;
    if (m_end - m_next >= 8) {
      std::uint64_t bytes;
      std::memcpy(&bytes, m_buffer + m_next, 8);
      if (!HasFF(bytes)) {
        const unsigned take = (64 - m_count) / 8;
        if constexpr (std::endian::native == std::endian::little) bytes = __builtin_bswap64(bytes);
        m_bits |= bytes >> m_count;
        m_count += 8 * take;
        if (m_count < 64) m_bits &= ~(~std::uint64_t{0} >> m_count);
        m_next += take;
        return;
      }
    }
    RefillByBytes();
  }

  // The next `count` bits, 1 to 32, without taking them.
  std::uint32_t Peek(unsigned count) const noexcept { return static_cast<std::uint32_t>(m_bits >> (64 - count)); }
  void Skip(unsigned count) noexcept {
    m_bits <<= count;
    m_count -= count;
  }

  // Whether bits were taken that are not there.
  bool IsOverrun() const noexcept { return m_padding > m_count; }
  // Drops the bits up to the next marker and passes it when it is the restart marker of that number (0..7).
  bool SkipRestartMarker(unsigned number) noexcept;
  // Offset of the next byte not taken; bits of a begun byte are dropped.
  std::uint64_t Position() const noexcept;

 private:
  static bool HasFF(std::uint64_t v) noexcept { return ((~v - 0x0101010101010101u) & v & 0x8080808080808080u) != 0; }
  void RefillByBytes() noexcept;
  bool LoadBuffer() noexcept;

  const CInput& m_input;
  std::uint64_t m_offset;    // of the buffer's end
  std::uint64_t m_bits = 0;  // from the top
  unsigned m_count = 0;      // valid bits, padding included
  unsigned m_padding = 0;    // of them made up, the last ones
  std::size_t m_next = 0, m_end = 0;
  bool m_atMarker = false;  // m_next stands on 0xFF of a marker, or the data has ended
  std::uint8_t m_buffer[16384];
};

// The bits that are refilled already, taken out of the reader so that they can stay in registers; what is left goes
// back when the window is closed. The reader is not to be used beside it, but Through it.
class CJpegBitWindow {
 public:
  explicit CJpegBitWindow(CJpegBitReader& reader) noexcept : m_reader(reader) { TakeOut(); }
  ~CJpegBitWindow() { PutBack(); }
  CJpegBitWindow(const CJpegBitWindow&) = delete;
  CJpegBitWindow& operator=(const CJpegBitWindow&) = delete;

  // As those of the reader.
  void Refill() noexcept {
    if (m_count > 32) return;
    PutBack();
    m_reader.Refill();
    TakeOut();
  }
  std::uint32_t Peek(unsigned count) const noexcept { return static_cast<std::uint32_t>(m_bits >> (64 - count)); }
  void Skip(unsigned count) noexcept {
    m_bits <<= count;
    m_count -= count;
  }

  // What `work` does with the reader meanwhile.
  template <class Work>
  auto Through(Work&& work) noexcept {
    PutBack();
    const auto result = work(m_reader);
    TakeOut();
    return result;
  }

 private:
  void TakeOut() noexcept {
    m_bits = m_reader.m_bits;
    m_count = m_reader.m_count;
  }
  void PutBack() noexcept {
    m_reader.m_bits = m_bits;
    m_reader.m_count = m_count;
  }

  CJpegBitReader& m_reader;
  std::uint64_t m_bits = 0;
  unsigned m_count = 0;
};

}  // namespace imageformats
