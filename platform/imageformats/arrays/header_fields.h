#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "platform/imageformats/base/integers.h"

namespace imageformats {

// Numbers and texts at their places in a binary header. What lies behind the header's end reads as zeros.
class CHeaderFields {
 public:
  CHeaderFields(std::span<const std::uint8_t> bytes, bool bigEndian) noexcept
      : m_bytes(bytes), m_bigEndian(bigEndian) {}

  bool IsBigEndian() const noexcept { return m_bigEndian; }
  std::uint8_t Byte(std::size_t at) const noexcept { return static_cast<std::uint8_t>(Integer(at, 1)); }
  std::int16_t Int16(std::size_t at) const noexcept { return static_cast<std::int16_t>(Integer(at, 2)); }
  std::int32_t Int32(std::size_t at) const noexcept { return static_cast<std::int32_t>(Integer(at, 4)); }
  std::int64_t Int64(std::size_t at) const noexcept { return static_cast<std::int64_t>(Integer(at, 8)); }
  double Float(std::size_t at) const noexcept {
    return static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(Integer(at, 4))));
  }
  double Double(std::size_t at) const noexcept { return std::bit_cast<double>(Integer(at, 8)); }
  // With all its padding.
  std::string_view Text(std::size_t at, std::size_t size) const noexcept {
    if (at + size > m_bytes.size()) return {};
    return {reinterpret_cast<const char*>(m_bytes.data()) + at, size};
  }

 private:
  std::uint64_t Integer(std::size_t at, std::size_t size) const noexcept {
    return at + size > m_bytes.size() ? 0 : IntegerAt(m_bytes.data() + at, size, m_bigEndian);
  }

  std::span<const std::uint8_t> m_bytes;
  bool m_bigEndian;
};

}  // namespace imageformats
