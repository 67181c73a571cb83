#include "platform/imageformats/jpeg/block_means/block_details.h"

#include <algorithm>

namespace imageformats {

namespace {

struct SFrequency {
  std::uint8_t x, y;
};
// Of the coefficients in zigzag order (T.81, figure 5).
constexpr std::array<SFrequency, kLastDetailCoefficient + 1> kZigzagFrequencies = {{{0, 0},
                                                                                    {1, 0},
                                                                                    {0, 1},
                                                                                    {0, 2},
                                                                                    {1, 1},
                                                                                    {2, 0},
                                                                                    {3, 0},
                                                                                    {2, 1},
                                                                                    {1, 2},
                                                                                    {0, 3},
                                                                                    {0, 4},
                                                                                    {1, 3},
                                                                                    {2, 2},
                                                                                    {3, 1},
                                                                                    {4, 0}}};

}  // namespace

CBlockDetails::CBlockDetails(const CBlockShares& columns, const CBlockShares& rows, const SMeansRequest& request,
                             CRenderGuard& guard)
    : m_columns(columns),
      m_rows(rows),
      m_result(request.result),
      m_stride(m_result.width + SBlockShare::kMostPixels - 1),
      m_rowSums(guard.NewVector<float>(m_stride * kRowsAtOnce * SBlockShare::kFrequencies)),
      m_sums(guard.NewVector<float>(CRenderGuard::Multiply(m_result.width, m_result.height))) {
  const unsigned last = std::clamp(request.lastCoefficient, 1u, kLastDetailCoefficient);
  for (unsigned k = 1; k <= last; ++k) {
    if (kZigzagFrequencies[k].y == 0) m_last[1] = k;
    if (kZigzagFrequencies[k].x == 0) m_last[2] = k;
    m_last[3] = k;
  }
  for (unsigned k = 0; k <= kLastDetailCoefficient; ++k) {
    m_places[k].weights = kZigzagFrequencies[k].x * static_cast<std::uint32_t>(SBlockShare::kMostPixels);
    m_places[k].sums = kZigzagFrequencies[k].y * static_cast<std::uint32_t>(m_stride);
  }
}

void CBlockDetails::SetQuantisers(std::span<const std::uint16_t, 64> quantisers) noexcept {
  for (std::size_t k = 0; k < m_places.size(); ++k) m_places[k].quantiser = static_cast<float>(quantisers[k]);
}

void CBlockDetails::EndRow(std::uint32_t y) noexcept {
  const SBlockShare& share = m_rows[y];
  const std::size_t frequencies = m_rows.IsCut(y) ? SBlockShare::kFrequencies : 1;
  for (std::size_t f = 0; f < frequencies; ++f) {
    const float* __restrict from = RowSums(y, f);
    for (std::uint32_t i = 0; i < share.count; ++i) {
      const float weight = share.weights[f][i];
      float* __restrict to = m_sums.data() + std::size_t{share.first + i} * m_result.width;
      for (std::uint32_t x = 0; x < m_result.width; ++x) to[x] += weight * from[x];
    }
  }
  std::fill_n(RowSums(y, 0), m_stride * SBlockShare::kFrequencies, 0.0f);
}

}  // namespace imageformats
