#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

namespace qvhost {

// A 64-bit hash that is the same on every machine and in every version: shards are chosen and recognised by it. FNV-1a,
// mixed at the end so that all bits count in a remainder.
class CContentHash {
 public:
  CContentHash& Add(std::string_view bytes) noexcept {
    for (const char byte : bytes) AddByte(static_cast<unsigned char>(byte));
    return Add(static_cast<std::int64_t>(bytes.size()));
  }
  CContentHash& Add(std::int64_t number) noexcept {
    const auto bits = static_cast<std::uint64_t>(number);
    for (int shift = 0; shift < 64; shift += 8) AddByte(static_cast<unsigned char>(bits >> shift));
    return *this;
  }
  CContentHash& Add(double number) noexcept {
    std::int64_t bits = 0;
    std::memcpy(&bits, &number, sizeof bits);
    return Add(bits);
  }

  std::uint64_t Value() const noexcept {
    std::uint64_t mixed = m_state;
    mixed = (mixed ^ (mixed >> 33)) * 0xFF51AFD7ED558CCDu;
    mixed = (mixed ^ (mixed >> 33)) * 0xC4CEB9FE1A85EC53u;
    return mixed ^ (mixed >> 33);
  }

 private:
  void AddByte(unsigned char byte) noexcept { m_state = (m_state ^ byte) * 0x00000100000001B3u; }

  std::uint64_t m_state = 0xCBF29CE484222325u;
};

}  // namespace qvhost
