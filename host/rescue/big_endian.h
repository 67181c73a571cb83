#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace qvhost {

using CBytes = std::span<const std::uint8_t>;

// The number that at most 8 bytes are, the first one highest, without a sign.
inline std::uint64_t ReadBigEndian(CBytes bytes) noexcept {
  std::uint64_t value = 0;
  for (const std::uint8_t byte : bytes) value = value << 8 | byte;
  return value;
}

// The 4 bytes at an offset, which have to be there.
inline std::uint32_t ReadNumber(CBytes bytes, std::size_t at) noexcept {
  return static_cast<std::uint32_t>(ReadBigEndian(bytes.subspan(at, 4)));
}

// Reads a number of SQLite's variable length (1 to 9 bytes) from the front of `bytes`. False, with both as they were,
// when they end in the middle of it.
inline bool TakeVarint(CBytes* bytes, std::uint64_t* value) noexcept {
  constexpr std::size_t kMost = 9;
  std::uint64_t read = 0;
  for (std::size_t i = 0; i < bytes->size() && i < kMost; ++i) {
    const std::uint8_t byte = (*bytes)[i];
    const bool isLast = i + 1 == kMost;
    read = isLast ? read << 8 | byte : read << 7 | (byte & 0x7Fu);
    if (!isLast && (byte & 0x80u) != 0) continue;
    *bytes = bytes->subspan(i + 1);
    *value = read;
    return true;
  }
  return false;
}

}  // namespace qvhost
