#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// The integer of up to 8 bytes that stands there in that byte order.
inline std::uint64_t IntegerAt(const std::uint8_t* bytes, std::size_t size, bool bigEndian) noexcept {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8 | bytes[bigEndian ? i : size - 1 - i];
  return value;
}

// The same from an input; what lies behind its end counts as zeros.
inline std::uint64_t ReadInteger(const CInput& input, std::uint64_t offset, std::size_t size, bool bigEndian) noexcept {
  std::uint8_t bytes[8] = {};
  input.ReadAt(offset, bytes, size);
  return IntegerAt(bytes, size, bigEndian);
}

}  // namespace imageformats
