#include "platform/imageformats/render/sample_order.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <tuple>
#include <utility>

#include "platform/imageformats/base/wide_vectors.h"

namespace imageformats {

namespace {

constexpr unsigned kBucketBits = 10;
constexpr std::size_t kBuckets = std::size_t{1} << kBucketBits;
// So many that a table of buckets is no longer worth filling.
constexpr std::size_t kFew = 64;

// Keys of one range, sorted into buckets of equal width.
struct SBuckets {
  std::int32_t least;
  unsigned shift;  // to a bucket's number

  SBuckets(std::int32_t from, std::int32_t to) noexcept : least(from) {
    const auto range = static_cast<std::uint32_t>(to) - static_cast<std::uint32_t>(from);
    const auto bits = static_cast<unsigned>(std::bit_width(range));
    shift = bits > kBucketBits ? bits - kBucketBits : 0;
  }
  std::uint32_t Of(std::int32_t key) const noexcept {
    return (static_cast<std::uint32_t>(key) - static_cast<std::uint32_t>(least)) >> shift;
  }
  std::int32_t FirstKey(std::size_t bucket) const noexcept {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(least) + (static_cast<std::uint32_t>(bucket) << shift));
  }
  // Keys of finite values leave more room at either end than a bucket takes.
  std::int32_t LastKey(std::size_t bucket) const noexcept { return FirstKey(bucket + 1) - 1; }
};

// How many keys each bucket has. In four tables in turns: samples that follow each other often are of one bucket, whose
// count would have to wait for itself.
std::vector<std::size_t> CountKeys(std::span<const std::int32_t> keys, const SBuckets& buckets) {
  std::array<std::array<std::uint32_t, kBuckets>, 4> counts{};
  std::size_t i = 0;
  for (; i + 4 <= keys.size(); i += 4) {
    for (std::size_t k = 0; k < 4; ++k) ++counts[k][buckets.Of(keys[i + k])];
  }
  for (; i < keys.size(); ++i) ++counts[0][buckets.Of(keys[i])];
  std::vector<std::size_t> sums(kBuckets);
  for (std::size_t b = 0; b < kBuckets; ++b) {
    sums[b] = std::size_t{counts[0][b]} + counts[1][b] + counts[2][b] + counts[3][b];
  }
  return sums;
}

std::vector<std::int32_t> KeysOfBucket(std::span<const std::int32_t> keys, const SBuckets& buckets, std::size_t bucket,
                                       std::size_t count) {
  std::vector<std::int32_t> chosen(count + 1);  // each key is written before it is known whether it counts
  std::size_t found = 0;
  for (const std::int32_t key : keys) {
    chosen[found] = key;
    found += buckets.Of(key) == bucket ? 1 : 0;
  }
  chosen.pop_back();
  return chosen;
}

// Without a branch, for vector code.
bool AreFinite(std::span<const float> samples) noexcept {
  return RunVectorLoop([samples] {
    std::uint32_t others = 0;
    for (const float value : samples) {
      others |= (std::bit_cast<std::uint32_t>(value) & 0x7FFFFFFFu) >= 0x7F800000u ? 1u : 0u;
    }
    return others == 0;
  });
}

// Of at least one key.
std::pair<std::int32_t, std::int32_t> ExtremesOf(std::span<const std::int32_t> keys) noexcept {
  return RunVectorLoop([keys] {
    std::int32_t least = keys.front(), most = keys.front();
    for (const std::int32_t key : keys) {
      least = std::min(least, key);
      most = std::max(most, key);
    }
    return std::pair(least, most);
  });
}

}  // namespace

std::int32_t CSampleOrder::KeyOf(float value) noexcept { return Turned(std::bit_cast<std::int32_t>(value)); }
float CSampleOrder::ValueOf(std::int32_t key) noexcept { return std::bit_cast<float>(Turned(key)); }

CSampleOrder::CSampleOrder(std::span<const float> samples, std::size_t first, std::size_t step)
    : m_keys(samples.size() / step + 1) {
  if (step == 1 && first == 0 && AreFinite(samples)) {
    m_keys.resize(samples.size());
    RunVectorLoop([&] { std::transform(samples.begin(), samples.end(), m_keys.begin(), KeyOf); });
  } else {
    TakeFinite(samples, first, step);
  }
  if (m_keys.empty()) return;
  std::tie(m_least, m_most) = ExtremesOf(m_keys);
  if (m_keys.size() > kFew) m_counts = CountKeys(m_keys, SBuckets(m_least, m_most));
}

void CSampleOrder::TakeFinite(std::span<const float> samples, std::size_t first, std::size_t step) {
  std::size_t found = 0;
  for (std::size_t i = first; i < samples.size(); i += step) {
    m_keys[found] = KeyOf(samples[i]);
    found += std::isfinite(samples[i]) ? 1 : 0;
  }
  m_keys.resize(found);
}

float CSampleOrder::At(std::size_t place) const {
  std::vector<std::int32_t> chosen;
  std::span<const std::int32_t> keys = m_keys;
  std::int32_t least = m_least, most = m_most;
  while (keys.size() > kFew && least != most) {
    const SBuckets buckets(least, most);
    const std::vector<std::size_t> counts = keys.data() == m_keys.data() ? m_counts : CountKeys(keys, buckets);
    std::size_t bucket = 0;
    for (; place >= counts[bucket]; ++bucket) place -= counts[bucket];
    chosen = KeysOfBucket(keys, buckets, bucket, counts[bucket]);
    keys = chosen;
    least = buckets.FirstKey(bucket);
    most = std::min(most, buckets.LastKey(bucket));
  }
  if (least == most) return ValueOf(least);
  std::vector<std::int32_t> few(keys.begin(), keys.end());
  const auto wanted = few.begin() + static_cast<std::ptrdiff_t>(place);
  std::nth_element(few.begin(), wanted, few.end());
  return ValueOf(*wanted);
}

}  // namespace imageformats
