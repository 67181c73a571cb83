#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace imageformats {

// The finite ones of some samples in ascending order, of which only what is asked for is found: each place takes a few
// passes over the samples, and no comparisons that a processor would have to guess.
class CSampleOrder {
 public:
  // Of samples first, first + step, …
  CSampleOrder(std::span<const float> samples, std::size_t first, std::size_t step);

  std::size_t Count() const noexcept { return m_keys.size(); }
  // Of at least one sample; `place` is below Count().
  float Least() const noexcept { return ValueOf(m_least); }
  float Most() const noexcept { return ValueOf(m_most); }
  float At(std::size_t place) const;

 private:
  // Whole numbers in the order of the values; each is made of the other by the same step.
  static std::int32_t Turned(std::int32_t bits) noexcept { return bits ^ ((bits >> 31) & 0x7FFFFFFF); }
  static std::int32_t KeyOf(float value) noexcept;
  static float ValueOf(std::int32_t key) noexcept;
  void TakeFinite(std::span<const float> samples, std::size_t first, std::size_t step);

  std::vector<std::int32_t> m_keys;
  std::vector<std::size_t> m_counts;  // of all keys by buckets: where each search begins
  std::int32_t m_least = 0, m_most = 0;
};

}  // namespace imageformats
