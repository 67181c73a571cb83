#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Bits from the top of a word, filled up from bytes. The word may hold more bits than are counted, those of the bytes
// that come next: to add them once more changes nothing.
struct SJpegBits {
  std::uint64_t word = 0;
  unsigned count = 0;
  const std::uint8_t* next = nullptr;
  const std::uint8_t* end = nullptr;

  // At least 56 bits can be peeked at afterwards. False when there are too few bytes to do it at once.
  bool Refill() noexcept {
    if (end - next < 8) return false;
    std::uint64_t bytes;
    std::memcpy(&bytes, next, 8);
    if constexpr (std::endian::native == std::endian::little) bytes = __builtin_bswap64(bytes);
    word |= bytes >> count;
    next += (63 - count) >> 3;
    count |= 56;
    return true;
  }
  // The next `size` bits, 1 to 32, without taking them.
  std::uint32_t Peek(unsigned size) const noexcept { return static_cast<std::uint32_t>(word >> (64 - size)); }
  void Skip(unsigned size) noexcept {
    word <<= size;
    count -= size;
  }
};

// Bits of an entropy-coded segment (T.81, F.2.2.5): stuffed zero bytes are taken out; at a marker, or at the end of the
// data, the bits go on as zeros and are counted, so that the caller can tell whether it used any.
class CJpegBitReader {
  friend class CJpegBitWindow;

 public:
  // Stands before entropy-coded data at `offset`.
  CJpegBitReader(const CInput& input, std::uint64_t offset) noexcept : m_input(input), m_rawOffset(offset) {
    m_bits.next = m_bits.end = m_buffer;
  }
  CJpegBitReader(const CJpegBitReader&) = delete;
  CJpegBitReader& operator=(const CJpegBitReader&) = delete;

  // At least 56 bits can be peeked at afterwards.
  void Refill() noexcept {
    if (!m_bits.Refill()) RefillByBytes();
  }

  // The next `count` bits, 1 to 32, without taking them.
  std::uint32_t Peek(unsigned count) const noexcept { return m_bits.Peek(count); }
  void Skip(unsigned count) noexcept { m_bits.Skip(count); }

  // Whether bits were taken that are not there.
  bool IsOverrun() const noexcept { return m_padding > m_bits.count; }
  // Drops the bits up to the next marker and passes it when it is the restart marker of that number (0..7).
  bool SkipRestartMarker(unsigned number) noexcept;
  // Where a search for the marker that follows the bits taken is to begin: at it, or before it.
  std::uint64_t Position() const noexcept { return m_rawOffset - (m_rawEnd - m_rawNext); }

 private:
  static constexpr std::size_t kMostLeft = 8;

  void RefillByBytes() noexcept;
  bool Unstuff() noexcept;
  std::size_t ReadRaw() noexcept;

  const CInput& m_input;
  std::uint64_t m_rawOffset;  // of the raw bytes' end
  std::size_t m_rawNext = 0, m_rawEnd = 0;
  bool m_atMarker = false;  // m_rawNext stands on 0xFF of a marker, or the data has ended
  SJpegBits m_bits;         // out of m_buffer
  unsigned m_padding = 0;   // bits of them that are made up, the last ones
  std::uint8_t m_raw[16384];
  std::uint8_t m_buffer[sizeof m_raw + kMostLeft];  // without stuffed bytes
};

// The reader's bits, taken out of it so that they can stay in registers; what is left goes back when the window is
// closed. The reader is not to be used beside it, but Through it.
class CJpegBitWindow {
 public:
  explicit CJpegBitWindow(CJpegBitReader& reader) noexcept : m_reader(reader), m_bits(reader.m_bits) {}
  ~CJpegBitWindow() { m_reader.m_bits = m_bits; }
  CJpegBitWindow(const CJpegBitWindow&) = delete;
  CJpegBitWindow& operator=(const CJpegBitWindow&) = delete;

  // As those of the reader.
  void Refill() noexcept {
    if (m_bits.Refill()) [[likely]]
      return;
    m_reader.m_bits = m_bits;
    m_reader.RefillByBytes();
    m_bits = m_reader.m_bits;
  }
  std::uint32_t Peek(unsigned count) const noexcept { return m_bits.Peek(count); }
  void Skip(unsigned count) noexcept { m_bits.Skip(count); }

  // What `work` does with the reader meanwhile.
  template <class Work>
  auto Through(Work&& work) noexcept {
    m_reader.m_bits = m_bits;
    const auto result = work(m_reader);
    m_bits = m_reader.m_bits;
    return result;
  }

 private:
  CJpegBitReader& m_reader;
  SJpegBits m_bits;
};

}  // namespace imageformats
