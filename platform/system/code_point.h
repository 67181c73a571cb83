#pragma once

#include <cstddef>
#include <cstdint>

// Code points and their UTF-8 and UTF-16 forms: what the string conversions and the serialisation share.

constexpr char32_t kReplacementCharacter = 0xFFFD;
constexpr char32_t kLastCodePoint = 0x10FFFF;

constexpr bool IsSurrogate(char32_t c) noexcept { return (c & 0xFFFFF800u) == 0xD800u; }
constexpr bool IsHighSurrogate(char32_t c) noexcept { return (c & 0xFFFFFC00u) == 0xD800u; }
constexpr bool IsLowSurrogate(char32_t c) noexcept { return (c & 0xFFFFFC00u) == 0xDC00u; }
constexpr char32_t JoinSurrogates(char32_t high, char32_t low) noexcept {
  return 0x10000u + ((high - 0xD800u) << 10) + (low - 0xDC00u);
}

// A byte that is not part of valid UTF-8 stands in a wide string as 0xDC00 + byte.
constexpr bool IsEscapedByte(char32_t c) noexcept { return c >= 0xDC80u && c <= 0xDCFFu; }
constexpr char32_t EscapeByte(std::uint8_t byte) noexcept { return 0xDC00u + byte; }

// The wide character at *position, which is moved behind it: where wide characters have 16 bits, a surrogate pair
// makes one code point. What lies beyond U+10FFFF becomes U+FFFD.
inline char32_t NextCodePoint(const wchar_t*& position, const wchar_t* end) noexcept {
  if constexpr (sizeof(wchar_t) == 2) {
    const auto first = static_cast<char32_t>(static_cast<std::uint16_t>(*position++));
    if (!IsHighSurrogate(first) || position == end) return first;
    const auto second = static_cast<char32_t>(static_cast<std::uint16_t>(*position));
    if (!IsLowSurrogate(second)) return first;
    ++position;
    return JoinSurrogates(first, second);
  } else {
    const auto c = static_cast<char32_t>(*position++);
    return c > kLastCodePoint ? kReplacementCharacter : c;
  }
}

// Stores a code point as one wide character, or as two where they have 16 bits. Returns the end of what was stored.
inline wchar_t* StoreWide(char32_t c, wchar_t* out) noexcept {
  if constexpr (sizeof(wchar_t) == 2) {
    if (c > 0xFFFFu) {
      *out++ = static_cast<wchar_t>(0xD7C0u + (c >> 10));
      c = 0xDC00u + (c & 0x3FFu);
    }
  }
  *out++ = static_cast<wchar_t>(c);
  return out;
}

// Bytes of the generalised UTF-8 form, which gives surrogates their three bytes.
constexpr std::size_t Utf8Length(char32_t c) noexcept { return c < 0x80u ? 1 : c < 0x800u ? 2 : c < 0x10000u ? 3 : 4; }

template <class Byte>
Byte* StoreUtf8(char32_t c, Byte* out) noexcept {
  const auto put = [&out](char32_t byte) { *out++ = static_cast<Byte>(byte); };
  if (c < 0x80u) {
    put(c);
  } else if (c < 0x800u) {
    put(0xC0u | (c >> 6));
    put(0x80u | (c & 0x3Fu));
  } else if (c < 0x10000u) {
    put(0xE0u | (c >> 12));
    put(0x80u | ((c >> 6) & 0x3Fu));
    put(0x80u | (c & 0x3Fu));
  } else {
    put(0xF0u | (c >> 18));
    put(0x80u | ((c >> 12) & 0x3Fu));
    put(0x80u | ((c >> 6) & 0x3Fu));
    put(0x80u | (c & 0x3Fu));
  }
  return out;
}

// Decodes one code point of generalised UTF-8 at `bytes` (`size` >= 1 of them). Returns the number of bytes used, or 0
// when they are not the shortest form of a code point up to U+10FFFF (Unicode 15, table 3-7, plus the surrogates).
inline std::size_t DecodeUtf8(const std::uint8_t* bytes, std::size_t size, char32_t* c) noexcept {
  const std::uint8_t lead = bytes[0];
  if (lead < 0x80u) {
    *c = lead;
    return 1;
  }
  const std::size_t length = lead < 0xC2u ? 0 : lead < 0xE0u ? 2 : lead < 0xF0u ? 3 : lead < 0xF5u ? 4 : 0;
  if (length == 0 || length > size) return 0;
  char32_t value = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    if ((bytes[i] & 0xC0u) != 0x80u) return 0;
    value = (value << 6) | (bytes[i] & 0x3Fu);
  }
  if (Utf8Length(value) != length || value > kLastCodePoint) return 0;
  *c = value;
  return length;
}
