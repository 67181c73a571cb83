#include "tools/samples/random.h"

namespace {

// FNV-1a, 64 bits (draft-eastlake-fnv).
std::uint64_t HashName(std::string_view name) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : name) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return hash;
}

constexpr std::uint64_t kMultiplier = 6364136223846793005u;
constexpr std::uint64_t kIncrement = 1442695040888963407u;

}  // namespace

CRandom::CRandom(std::uint64_t seed, std::string_view name) : m_state(seed * kMultiplier + HashName(name)) {
  Next();
  m_state += HashName(name);
  Next();
}

std::uint32_t CRandom::Next() {
  const std::uint64_t old = m_state;
  m_state = old * kMultiplier + kIncrement;
  const auto shifted = static_cast<std::uint32_t>(((old >> 18) ^ old) >> 27);
  const auto turn = static_cast<std::uint32_t>(old >> 59);
  return (shifted >> turn) | (shifted << ((32 - turn) & 31));
}

float CRandom::Normal() {
  const std::uint32_t a = Next(), b = Next();
  int sum = 0;
  for (int shift = 0; shift < 32; shift += 8)
    sum += static_cast<int>((a >> shift) & 255u) + static_cast<int>((b >> shift) & 255u);
  // Eight bytes: mean 8 * 127.5, deviation sqrt(8 * (256^2 - 1) / 12).
  return static_cast<float>(sum - 1020) * (1.0f / 209.02f);
}
