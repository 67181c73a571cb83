#pragma once

#include <cstdint>
#include <vector>

// How one axis of a picture maps onto another length. Weights are whole numbers with a common total, so that sums of
// weighted samples are exact and only the last division rounds.

// The source samples that make one destination sample: `count` neighbours from `begin` on. The first and the last have
// weights of their own, those between share CStretchAxis::InnerWeight(). With one sample only `first` counts.
struct SStretchTap {
  std::uint32_t begin, count;
  std::uint32_t first, last;
};

class CStretchAxis {
 public:
  // Lengths are 1 to 2^31 - 1; `mode` is one of CQvPicBufAPI_GeomTrans::kStretch…. Throws std::bad_alloc.
  CStretchAxis(std::uint32_t source, std::uint32_t destination, std::int32_t mode);

  const std::vector<SStretchTap>& Taps() const noexcept { return m_taps; }
  std::uint32_t InnerWeight() const noexcept { return m_inner; }
  // The sum of every tap's weights.
  std::uint32_t Total() const noexcept { return m_total; }

 private:
  void MakeNearest(std::uint64_t source, std::uint64_t destination);
  void MakeBilinear(std::uint64_t source, std::uint64_t destination);
  void MakeArea(std::uint64_t source, std::uint64_t destination);

  std::vector<SStretchTap> m_taps;
  std::uint32_t m_inner = 0;
  std::uint32_t m_total = 1;
};
