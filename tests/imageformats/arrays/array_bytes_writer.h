#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <type_traits>

#include "tests/support/file_bytes.h"

// Headers and samples of array files, as their formats lay them out.
class CArrayBytesWriter {
 public:
  CArrayBytesWriter(std::size_t headerBytes, bool bigEndian) : m_bytes(headerBytes), m_bigEndian(bigEndian) {}

  // Number at a place in what has been made so far.
  template <class T>
  void Put(std::size_t at, T value) {
    const auto number = Bits(value);
    for (std::size_t i = 0; i < sizeof(T); ++i) {
      const std::size_t shift = 8 * (m_bigEndian ? sizeof(T) - 1 - i : i);
      m_bytes[at + i] = static_cast<std::uint8_t>(number >> shift);
    }
  }
  void PutText(std::size_t at, std::string_view text) { std::memcpy(m_bytes.data() + at, text.data(), text.size()); }
  template <class T>
  void Append(T value) {
    const std::size_t at = m_bytes.size();
    m_bytes.resize(at + sizeof(T));
    Put(at, value);
  }
  void Append(const qvtest::SFileBytes& bytes) { m_bytes.insert(m_bytes.end(), bytes.begin(), bytes.end()); }

  const qvtest::SFileBytes& Bytes() const { return m_bytes; }

 private:
  template <class T>
  static std::uint64_t Bits(T value) {
    if constexpr (std::is_same_v<T, float>) {
      return std::bit_cast<std::uint32_t>(value);
    } else if constexpr (std::is_same_v<T, double>) {
      return std::bit_cast<std::uint64_t>(value);
    } else {
      return static_cast<std::uint64_t>(value);
    }
  }

  qvtest::SFileBytes m_bytes;
  bool m_bigEndian;
};

// Compressed as one gzip member.
qvtest::SFileBytes Gzipped(const qvtest::SFileBytes& bytes);
qvtest::SFileBytes Bzip2ed(const qvtest::SFileBytes& bytes);

// Expects that every cut of a whole file fails, and that no flipped bit of it does worse than that.
void ExpectToSurviveDamage(const qvtest::SFileBytes& whole);
