#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

// The byte format that the writer and the reader share; see lite_variant_writer.cpp for the layout.

namespace lite_variant {

constexpr std::uint8_t kHeader[4] = {'Q', 'L', 'V', 1};

enum EKind : std::uint8_t {
  kLevel = 1,
  kBool = 2,
  kInt = 3,
  kUInt = 4,
  kDouble = 5,
  kDoubles = 6,
  kString = 7,
  kBytes = 8,
};

constexpr std::size_t kMaxName = 255;
constexpr std::size_t kLengthField = 4;
constexpr std::size_t kMaxSize = std::size_t{1} << 30;

// Bytes of the kinds whose payload has a fixed size; 0 for those that carry a length field, and for unknown kinds.
constexpr std::size_t FixedPayload(std::uint8_t kind) noexcept {
  if (kind == kBool) return 1;
  return kind == kInt || kind == kUInt || kind == kDouble ? 8 : 0;
}

constexpr bool HasLengthField(std::uint8_t kind) noexcept {
  return kind == kLevel || kind == kDoubles || kind == kString || kind == kBytes;
}

template <class Unsigned>
void StoreLittleEndian(Unsigned value, std::uint8_t* out) noexcept {
  for (std::size_t i = 0; i < sizeof(Unsigned); ++i) out[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

template <class Unsigned>
Unsigned LoadLittleEndian(const std::uint8_t* in) noexcept {
  Unsigned value = 0;
  for (std::size_t i = 0; i < sizeof(Unsigned); ++i) value |= static_cast<Unsigned>(in[i]) << (8 * i);
  return value;
}

constexpr bool kNativeDoubles = std::endian::native == std::endian::little;

}  // namespace lite_variant
