#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "platform/imageformats/base/wide_vectors.h"
#include "platform/imageformats/render/reducer_axis.h"
#include "platform/imageformats/render/reducer_rows.h"

namespace imageformats {

// What all sample types share: the axes, the result's sums, and the count of what came in.
class CAreaReducer::CKernel {
 public:
  CKernel(const SSourceAxis& x, const SSourceAxis& y, SSize result, std::uint32_t components, CRenderGuard& guard)
      : m_x(x, result.width), m_y(y, result.height), m_components(components) {
    const std::uint64_t samples = CRenderGuard::Multiply(std::uint64_t{result.width} * result.height, components);
    guard.Reserve(CRenderGuard::Multiply(samples, sizeof(float) + sizeof(double)));  // Finish makes the former
    m_sums = std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(samples));
    m_isBegun.resize(result.height);
  }
  virtual ~CKernel() = default;

  virtual void AddBand(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const void* data,
                       std::size_t stride) = 0;
  virtual SAveragedPicture Finish() = 0;
  bool IsComplete() const noexcept { return m_added == std::uint64_t{m_x.Pixels()} * m_y.Pixels(); }

 protected:
  std::size_t RowSamples() const noexcept { return std::size_t{m_x.Result()} * m_components; }
  // A row of sums: zeros when it is first asked for, which is soon enough.
  double* SumsOf(std::uint32_t resultRow) noexcept {
    double* const sums = m_sums.get() + resultRow * RowSamples();
    if (!m_isBegun[resultRow]) std::fill_n(sums, RowSamples(), 0.0);
    m_isBegun[resultRow] = true;
    return sums;
  }
  SAveragedPicture Averages() {
    SAveragedPicture averages{{m_x.Result(), m_y.Result()}, m_components, {}};
    averages.samples.reserve(RowSamples() * m_y.Result());
    const double scale = 1.0 / Area();
    for (std::uint32_t y = 0; y < m_y.Result(); ++y) {
      const double* const sums = SumsOf(y);
      averages.samples.resize((y + std::size_t{1}) * RowSamples());  // row by row, near the processor
      float* const row = averages.samples.data() + y * RowSamples();
      for (std::size_t i = 0; i < RowSamples(); ++i) row[i] = static_cast<float>(sums[i] * scale);
    }
    return averages;
  }
  // Source pixels per result pixel.
  double Area() const noexcept { return m_x.Ratio() * m_y.Ratio(); }

  CReducerAxis m_x, m_y;
  std::uint32_t m_components;
  std::unique_ptr<double[]> m_sums;  // of the result's pixels, in rows that are begun
  std::vector<bool> m_isBegun;
  std::uint64_t m_added = 0;  // source pixels
};

// Rows of one sample type. Inner rows of a result row are summed in m_rowSums; a row on a border first closes the
// columns of the result row above and then opens those of the next.
template <class T>
class CTypedKernel final : public CAreaReducer::CKernel {
  using Traits = SSampleTraits<T>;
  using Sum = typename Traits::Sum;
  using Column = typename Traits::Column;

 public:
  CTypedKernel(const SSourceAxis& x, const SSourceAxis& y, SSize result, std::uint32_t components, CRenderGuard& guard)
      : CKernel(x, y, result, components, guard), m_guard(guard) {
    guard.Reserve(
        CRenderGuard::Multiply(CRenderGuard::Multiply(x.pixels, components), sizeof(Sum) + 2 * sizeof(Column)));
  }

  void AddBand(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height, const void* data,
               std::size_t stride) override {
    if (x >= m_x.Pixels() || y >= m_y.Pixels()) return;
    width = std::min(width, m_x.Pixels() - x);
    height = std::min(height, m_y.Pixels() - y);
    if (width == 0 || height == 0) return;
    m_added += std::uint64_t{width} * height;
    if (x != m_rangeX || width != m_rangeWidth || y != m_nextRow) BeginRange(x, width);
    const auto* row = static_cast<const std::uint8_t*>(data);
    for (const std::uint32_t end = y + height; y < end;) {
      const std::uint32_t rows = AddRows(y, end - y, row, stride);
      row += rows * stride;
      y += rows;
    }
    m_nextRow = y;
  }

  SAveragedPicture Finish() override {
    Flush();
    SAveragedPicture averages = Averages();
    if (m_missing) RemoveMissing(averages);
    return averages;
  }

 private:
  void BeginRange(std::uint32_t x, std::uint32_t width) {
    Flush();
    if (x == m_rangeX && width == m_rangeWidth) return;
    m_rangeX = x;
    m_rangeWidth = width;
    m_spans = m_x.SpansOf(x, width);
    m_rowSums.assign(Samples(), Sum{});
    m_columns.assign(Samples(), Column{});
    m_totals.resize(Samples() + 1);  // one more is read: AddSpans
  }

  std::size_t Samples() const noexcept { return std::size_t{m_rangeWidth} * m_components; }

  // Adds at least one row of at most `rows`; returns how many.
  std::uint32_t AddRows(std::uint32_t y, std::uint32_t rows, const std::uint8_t* data, std::size_t stride) {
    const std::uint32_t inner = std::min(m_y.InnerPixelsFrom(y), rows);
    if constexpr (std::is_floating_point_v<T>) {
      const T* row = WithoutNonFinite(y, reinterpret_cast<const T*>(data));
      if (inner == 0) {
        CloseRow(y, row);
      } else {
        AddInner(y, 1, reinterpret_cast<const std::uint8_t*>(row), stride);
      }
      return 1;
    } else {
      if (inner == 0) {
        CloseRow(y, reinterpret_cast<const T*>(data));
        return 1;
      }
      return AddInner(y, inner, data, stride);
    }
  }

  std::uint32_t AddInner(std::uint32_t y, std::uint32_t rows, const std::uint8_t* data, std::size_t stride) {
    if (m_rowsSummed == Traits::kMaxRows) {
      RunVectorLoop([&] { SpillRows(m_columns.data(), m_rowSums.data(), Samples()); });
      m_rowsSummed = 0;
    }
    rows = std::min(rows, Traits::kMaxRows - m_rowsSummed);
    RunVectorLoop([&] { SumRows<T>(m_rowSums.data(), data, stride, rows, Samples()); });
    m_rowsSummed += rows;
    m_pending = true;
    m_pendingRow = m_y.ShareOf(y).result;
    return rows;
  }

  // A row that ends a result row, or shares itself between two.
  void CloseRow(std::uint32_t y, const T* row) {
    const SPixelShare share = m_y.ShareOf(y);
    Sum* const sums = m_rowsSummed != 0 ? m_rowSums.data() : nullptr;
    const auto first = static_cast<Column>(share.weight), next = static_cast<Column>(share.nextWeight);
    RunVectorLoop([&] { CloseColumns(m_totals.data(), m_columns.data(), sums, row, first, next, Samples()); });
    m_rowsSummed = 0;
    AddRowTotals(share.result);
    m_pending = share.nextWeight > 0.0f;
    m_pendingRow = share.result + 1;
  }

  void Flush() {
    if (!m_pending) return;
    CloseColumns<T>(m_totals.data(), m_columns.data(), m_rowSums.data(), nullptr, Column{}, Column{}, Samples());
    m_rowsSummed = 0;
    AddRowTotals(m_pendingRow);
    m_pending = false;
  }

  void AddRowTotals(std::uint32_t resultRow) {
    AddSpans<Column>(SumsOf(resultRow), m_totals.data(), m_spans, m_components);
  }

  // The row itself, or a copy with 0 for what is not finite; those samples are counted in m_missing and taken out of
  // the averages at the end.
  const T* WithoutNonFinite(std::uint32_t y, const T* row) {
    const std::size_t samples = Samples();
    if (AllFinite(row, samples)) return row;
    if (!m_missing) {
      const SSourceAxis x = m_x.Source(), yAxis = m_y.Source();
      m_missing = std::make_unique<CTypedKernel<std::uint8_t>>(x, yAxis, SSize{m_x.Result(), m_y.Result()},
                                                               m_components, m_guard);
    }
    m_cleaned.resize(samples);
    m_missingMarks.resize(samples);
    for (std::size_t i = 0; i < samples; ++i) {
      const bool finite = std::isfinite(row[i]);
      m_cleaned[i] = finite ? row[i] : T{};
      m_missingMarks[i] = finite ? 0 : 1;
    }
    m_missing->AddBand(m_rangeX, y, m_rangeWidth, 1, m_missingMarks.data(), samples);
    return m_cleaned.data();
  }

  void RemoveMissing(SAveragedPicture& averages) {
    constexpr float kNothingLeft = 1.0f - 1e-5f;  // single-precision weights do not add up to 1 exactly
    const SAveragedPicture missing = m_missing->Finish();
    for (std::size_t i = 0; i < averages.samples.size(); ++i) {
      const float share = missing.samples[i];
      averages.samples[i] = share < kNothingLeft ? averages.samples[i] / (1.0f - share) : NAN;
    }
  }

  std::uint32_t m_rangeX = 0, m_rangeWidth = 0, m_nextRow = 0;
  std::vector<SPixelSpan> m_spans;
  std::vector<Sum> m_rowSums;  // whole rows since the last spill or close
  std::uint32_t m_rowsSummed = 0;
  std::vector<Column> m_columns;  // what the pending result row holds beside them
  std::vector<Column> m_totals;
  bool m_pending = false;  // the two hold something of m_pendingRow
  std::uint32_t m_pendingRow = 0;
  CRenderGuard& m_guard;
  std::unique_ptr<CTypedKernel<std::uint8_t>> m_missing;
  std::vector<T> m_cleaned;
  std::vector<std::uint8_t> m_missingMarks;
};

}  // namespace imageformats
