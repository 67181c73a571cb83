#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

// The referrers that hold an entry's picture: an ordered set of 64-bit ids. Few at a time, and set and given back with
// every look at a thumbnail, so a sorted array that keeps its memory.
class CReferenceSet {
 public:
  bool IsEmpty() const noexcept { return m_referrers.empty(); }
  bool Contains(std::uint64_t referrer) const noexcept {
    return std::binary_search(m_referrers.begin(), m_referrers.end(), referrer);
  }
  // False when the referrer is already there.
  bool Insert(std::uint64_t referrer) {
    const auto place = std::lower_bound(m_referrers.begin(), m_referrers.end(), referrer);
    if (place != m_referrers.end() && *place == referrer) return false;
    m_referrers.insert(place, referrer);
    return true;
  }
  // False when the referrer is not there.
  bool Erase(std::uint64_t referrer) noexcept {
    const auto place = std::lower_bound(m_referrers.begin(), m_referrers.end(), referrer);
    if (place == m_referrers.end() || *place != referrer) return false;
    m_referrers.erase(place);
    return true;
  }
  const std::vector<std::uint64_t>& Referrers() const noexcept { return m_referrers; }

 private:
  std::vector<std::uint64_t> m_referrers;
};
