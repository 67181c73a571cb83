#include "platform/imageformats/jpeg/block_means/block_shares.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace imageformats {

namespace {

// Sums of the transform's basis functions (T.81, A.3.3), by frequency: over a block's first samples, none to all eight.
// Of frequency 0 all make 1.
using SBasisSums = std::array<std::array<double, 9>, SBlockShare::kFrequencies>;

const SBasisSums& BasisSums() {
  static const SBasisSums kSums = [] {
    SBasisSums sums{};
    for (std::size_t f = 0; f < sums.size(); ++f) {
      for (std::size_t x = 0; x < 8; ++x) {
        const double angle = static_cast<double>((2 * x + 1) * f) * std::numbers::pi / 16.0;
        sums[f][x + 1] = sums[f][x] + (f == 0 ? 1.0 : std::numbers::sqrt2 * std::cos(angle)) / 8.0;
      }
    }
    return sums;
  }();
  return kSums;
}

// Over the first `samples`, a fraction of the last one counted as such.
double SumUpTo(std::size_t frequency, double samples) {
  const auto& sums = BasisSums()[frequency];
  const auto whole = std::min(static_cast<std::size_t>(samples), std::size_t{7});
  return sums[whole] + (sums[whole + 1] - sums[whole]) * (samples - static_cast<double>(whole));
}

}  // namespace

bool CBlockShares::IsFor(const SSourceAxis& blocks, std::uint32_t result) noexcept {
  // A block no longer than two pixels reaches into three.
  return result != 0 && blocks.pitch * result <= (SBlockShare::kMostPixels - 1) * blocks.extent;
}

// Lengths are counted in parts of which a unit of the axis has `result`, so that a pixel is `extent` long.
CBlockShares::CBlockShares(const SSourceAxis& blocks, std::uint32_t result, std::uint32_t count)
    : m_shares(count), m_isCut(count) {
  const std::uint64_t length = blocks.pitch * result, end = blocks.extent * result, pixel = blocks.extent;
  const double pixelsOfBlock = static_cast<double>(length) / static_cast<double>(pixel);
  for (std::uint32_t i = 0; i < std::min(blocks.pixels, count); ++i) {
    SBlockShare& share = m_shares[i];
    const std::uint64_t begin = i * length, blockEnd = begin + length, visibleEnd = std::min(blockEnd, end);
    share.first = static_cast<std::uint32_t>(begin / pixel);
    for (std::uint64_t from = begin; from < visibleEnd && share.count < SBlockShare::kMostPixels; ++share.count) {
      const std::uint64_t to = std::min((share.first + share.count + std::uint64_t{1}) * pixel, visibleEnd);
      const auto samples = [&](std::uint64_t at) {
        return 8.0 * static_cast<double>(at - begin) / static_cast<double>(length);
      };
      const bool isWhole = from == begin && to == blockEnd;
      for (std::size_t f = 0; f < (isWhole ? 1 : SBlockShare::kFrequencies); ++f) {
        const double weight = SumUpTo(f, samples(to)) - SumUpTo(f, samples(from));
        share.weights[f][share.count] = static_cast<float>(weight * pixelsOfBlock);
      }
      m_isCut[i] |= isWhole ? 0 : 1;
      from = to;
    }
  }
}

}  // namespace imageformats
