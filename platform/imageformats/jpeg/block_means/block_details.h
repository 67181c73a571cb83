#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/jpeg/block_means/block_shares.h"
#include "platform/imageformats/jpeg/block_means/means_request.h"

namespace imageformats {

// What the cut blocks of a component add to a result that is averaged from whole blocks: their AC coefficients, each
// shared out to the pixels that the block reaches into. Coefficients may come in any number of passes over the
// component, row by row.
class CBlockDetails {
 public:
  // Of `columns` x `rows` blocks, the last of which may lie behind the picture. CDamagedError when memory is over the
  // guard's limit.
  CBlockDetails(const CBlockShares& columns, const CBlockShares& rows, const SMeansRequest& request,
                CRenderGuard& guard);

  // Of the coefficients, in zigzag order.
  void SetQuantisers(std::span<const std::uint16_t, 64> quantisers) noexcept;
  // The last coefficient, in zigzag order, of any block, and of this one: 0 when nothing but its mean counts.
  unsigned LastCoefficient() const noexcept { return m_last[3]; }
  unsigned LastCoefficientOf(std::uint32_t x, std::uint32_t y) const noexcept {
    return m_last[(m_columns.IsCut(x) ? 1u : 0u) | (m_rows.IsCut(y) ? 2u : 0u)];
  }
  // Where a block's coefficients go.
  struct SBlock {
    const float* weights;
    float* sums;
    bool isWide;  // it reaches into three pixels
  };
  // Rows that are not ended may be as many as an MCU has.
  SBlock BlockAt(std::uint32_t x, std::uint32_t y) noexcept {
    const SBlockShare& share = m_columns[x];
    return {share.weights[0].data(), RowSums(y, 0) + share.first, share.count > 2};
  }
  // Adds a coefficient; `k` is at most LastCoefficient().
  void Add(const SBlock& block, unsigned k, float value) noexcept {
    const SPlace& place = m_places[k];
    const float coefficient = value * place.quantiser;
    const float* const weights = block.weights + place.weights;
    float* const sums = block.sums + place.sums;
    sums[0] += coefficient * weights[0];
    sums[1] += coefficient * weights[1];
    if (block.isWide) sums[2] += coefficient * weights[2];
  }
  // After the last coefficient of a pass in that row.
  void EndRow(std::uint32_t y) noexcept;

  // By pixel of the result, row by row: what is to be added to its average, in eighths of a level.
  std::vector<float> TakeSums() noexcept { return std::move(m_sums); }

 private:
  // What a coefficient is worth, and where its weights and sums lie behind those of the mean.
  struct SPlace {
    float quantiser = 0.0f;
    std::uint32_t weights = 0, sums = 0;
  };
  static constexpr std::uint32_t kRowsAtOnce = 4;  // of an MCU at most

  float* RowSums(std::uint32_t y, std::size_t frequency) noexcept {
    return m_rowSums.data() + (y % kRowsAtOnce * SBlockShare::kFrequencies + frequency) * m_stride;
  }

  CBlockShares m_columns, m_rows;
  SSize m_result;
  std::size_t m_stride;              // a row of sums, with room for the pixels that the last block does not reach into
  std::array<unsigned, 4> m_last{};  // by whether the column (1) and the row (2) are cut
  std::array<SPlace, kLastDetailCoefficient + 1> m_places;
  std::vector<float> m_rowSums;  // across, by vertical frequency
  std::vector<float> m_sums;
};

}  // namespace imageformats
