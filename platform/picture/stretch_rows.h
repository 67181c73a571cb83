#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/picture/stretch_axis.h"

// The inner loops of a stretch, written so that compilers vectorise them. A `Sum` is exact for what it is chosen for:
// 32-bit whole numbers while the largest sample times the axis's total fits, double (exact to 2^53) else.

// Rows of foreign records may lie at odd addresses.
template <class Sample>
inline Sample LoadSample(const std::uint8_t* row, std::size_t i) noexcept {
  Sample value;
  std::memcpy(&value, row + i * sizeof(Sample), sizeof(Sample));
  return value;
}

template <class Sample, class Sum>
void SetWeightedRow(Sum* __restrict sums, const std::uint8_t* __restrict row, std::size_t count, Sum weight) noexcept {
  for (std::size_t i = 0; i < count; ++i) sums[i] = weight * static_cast<Sum>(LoadSample<Sample>(row, i));
}

template <class Sample, class Sum>
void AddWeightedRow(Sum* __restrict sums, const std::uint8_t* __restrict row, std::size_t count, Sum weight) noexcept {
  for (std::size_t i = 0; i < count; ++i) sums[i] += weight * static_cast<Sum>(LoadSample<Sample>(row, i));
}

// Four rows at once: the sums travel through memory once for them all.
template <class Sample, class Sum>
void AddFourRows(Sum* __restrict sums, const std::uint8_t* __restrict row, std::size_t step, std::size_t count,
                 Sum weight) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint32_t four = std::uint32_t{LoadSample<Sample>(row, i)} + LoadSample<Sample>(row + step, i) +
                               LoadSample<Sample>(row + 2 * step, i) + LoadSample<Sample>(row + 3 * step, i);
    sums[i] += weight * static_cast<Sum>(four);
  }
}

// sums[i] = weighted sum of the i-th sample of the tap's rows; `rows` points at the first row of the source.
template <class Sample, class Sum>
void SumRows(Sum* sums, const std::uint8_t* rows, std::size_t step, std::size_t count, const SStretchTap& tap,
             std::uint32_t inner) noexcept {
  const std::uint8_t* row = rows + tap.begin * step;
  SetWeightedRow<Sample, Sum>(sums, row, count, static_cast<Sum>(tap.first));
  if (tap.count == 1) return;
  const std::uint8_t* last = row + std::size_t{tap.count - 1} * step;
  row += step;
  for (; last - row >= static_cast<std::ptrdiff_t>(4 * step); row += 4 * step) {
    AddFourRows<Sample, Sum>(sums, row, step, count, static_cast<Sum>(inner));
  }
  for (; row != last; row += step) AddWeightedRow<Sample, Sum>(sums, row, count, static_cast<Sum>(inner));
  AddWeightedRow<Sample, Sum>(sums, last, count, static_cast<Sum>(tap.last));
}

// What whole sums of neighbours are added up in.
template <class Sum>
struct SInnerSum {
  using Type = double;
};
template <>
struct SInnerSum<std::uint32_t> {
  using Type = std::uint64_t;
};

// The weighted sum along a row of one component; `stride` samples lie between neighbours.
template <class Sum>
double SumTap(const Sum* sums, std::size_t stride, const SStretchTap& tap, std::uint32_t inner) noexcept {
  const Sum* first = sums + tap.begin * stride;
  const double edge = static_cast<double>(*first) * tap.first;
  if (tap.count == 1) return edge;
  typename SInnerSum<Sum>::Type middle = 0;
  const std::size_t end = std::size_t{tap.count - 1} * stride;
  for (std::size_t i = stride; i != end; i += stride) middle += first[i];
  return edge + static_cast<double>(middle) * inner + static_cast<double>(first[end]) * tap.last;
}

// Calls put(value) with the weighted sum of every destination sample along the row. `Components` 0 takes the number
// from `components`.
template <std::size_t Components, class Sum, class Put>
inline void ForEachColumn(const Sum* sums, std::size_t components, const CStretchAxis& axis, Put put) noexcept {
  const std::size_t stride = Components != 0 ? Components : components;
  const std::uint32_t inner = axis.InnerWeight();
  for (const SStretchTap& tap : axis.Taps()) {
    for (std::size_t c = 0; c < stride; ++c) put(SumTap(sums + c, stride, tap, inner));
  }
}

// The same with the usual numbers of components known to the compiler.
template <class Sum, class Put>
void ForEachColumnOf(const Sum* sums, std::size_t components, const CStretchAxis& axis, Put put) noexcept {
  switch (components) {
    case 1:
      return ForEachColumn<1>(sums, components, axis, put);
    case 3:
      return ForEachColumn<3>(sums, components, axis, put);
    case 4:
      return ForEachColumn<4>(sums, components, axis, put);
    default:
      return ForEachColumn<0>(sums, components, axis, put);
  }
}

// The same of a row of samples along an axis whose taps have two samples at most.
template <std::size_t Components, class Sample>
void SumPairs(double* __restrict sums, const std::uint8_t* __restrict row, std::size_t components,
              const CStretchAxis& axis) noexcept {
  const std::size_t stride = Components != 0 ? Components : components;
  for (const SStretchTap& tap : axis.Taps()) {
    // A lone sample is its own neighbour, whose weight is 0.
    const std::size_t first = tap.begin * stride, last = first + (tap.count - 1) * stride;
    for (std::size_t c = 0; c < stride; ++c) {
      const std::uint64_t sum = std::uint64_t{LoadSample<Sample>(row, first + c)} * tap.first +
                                std::uint64_t{LoadSample<Sample>(row, last + c)} * tap.last;
      *sums++ = static_cast<double>(static_cast<std::int64_t>(sum));
    }
  }
}

// A weighted sum over the product of both axes' totals, rounded to nearest, halves up.
class CWeightedMean {
 public:
  explicit CWeightedMean(double total) noexcept : m_total(total), m_inverse(1.0 / total) {}

  template <class Sample>
  void Store(std::uint8_t* row, std::size_t i, double sum) const noexcept {
    StoreSample<Sample>(row, i, m_total < kFinest ? sum * m_inverse + kHalf : sum / m_total + 0.5);
  }
  // The sums of two rows by their weights.
  template <class Sample>
  void StoreRow(std::uint8_t* __restrict row, const double* __restrict upper, const double* __restrict lower,
                double first, double last, std::size_t count) const noexcept {
    if (m_total < kFinest) {
      const double inverse = m_inverse;
      for (std::size_t i = 0; i < count; ++i) {
        StoreSample<Sample>(row, i, (upper[i] * first + lower[i] * last) * inverse + kHalf);
      }
    } else {
      for (std::size_t i = 0; i < count; ++i) Store<Sample>(row, i, upper[i] * first + lower[i] * last);
    }
  }

 private:
  // Both are whole numbers: what is less than a half is so by 1 / (2 * total) at least, which is more than the
  // product's error and what is added for it.
  static constexpr double kFinest = 1u << 28;
  static constexpr double kHalf = 0.5 + 1.0 / (1u << 30);

  template <class Sample>
  static void StoreSample(std::uint8_t* row, std::size_t i, double rounded) noexcept {
    const auto value = static_cast<Sample>(static_cast<std::int32_t>(rounded));
    std::memcpy(row + i * sizeof(Sample), &value, sizeof(Sample));
  }

  double m_total, m_inverse;
};
