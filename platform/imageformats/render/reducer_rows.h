#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <span>

#include "platform/imageformats/render/reducer_axis.h"

// The inner loops of the area average: plain loops over arrays that do not overlap, written so that compilers turn them
// into vector code.

namespace imageformats {

// Sum: holds kMaxRows whole samples. Column: holds weighted sums with enough digits for the samples.
template <class T>
struct SSampleTraits {
  using Sum = double;
  using Column = double;
  static constexpr std::uint32_t kMaxRows = std::numeric_limits<std::uint32_t>::max();
};
template <class S, class C, std::uint32_t kRows>
struct SIntegerTraits {
  using Sum = S;
  using Column = C;
  static constexpr std::uint32_t kMaxRows = kRows;
};
template <>
struct SSampleTraits<std::uint8_t> : SIntegerTraits<std::uint16_t, float, 257> {};
template <>
struct SSampleTraits<std::uint16_t> : SIntegerTraits<std::uint32_t, float, 65537> {};
template <>
struct SSampleTraits<std::int8_t> : SIntegerTraits<std::int16_t, float, 255> {};
template <>
struct SSampleTraits<std::int16_t> : SIntegerTraits<std::int32_t, float, 65535> {};
template <>
struct SSampleTraits<std::uint32_t> : SIntegerTraits<std::uint64_t, double, 0xFFFFFFFFu> {};
template <>
struct SSampleTraits<std::int32_t> : SIntegerTraits<std::int64_t, double, 0xFFFFFFFFu> {};

// sums[i] += the samples of `rows` rows. Four rows at a time, so that the sums are loaded and stored once for four.
template <class T, class Sum = typename SSampleTraits<T>::Sum>
void SumRows(Sum* __restrict sums, const std::uint8_t* data, std::size_t stride, std::uint32_t rows,
             std::size_t samples) noexcept {
  for (; rows >= 4; rows -= 4, data += 4 * stride) {
    const auto* __restrict a = reinterpret_cast<const T*>(data);
    const auto* __restrict b = reinterpret_cast<const T*>(data + stride);
    const auto* __restrict c = reinterpret_cast<const T*>(data + 2 * stride);
    const auto* __restrict d = reinterpret_cast<const T*>(data + 3 * stride);
    for (std::size_t i = 0; i < samples; ++i) {
      const Sum ab = static_cast<Sum>(static_cast<Sum>(a[i]) + static_cast<Sum>(b[i]));
      const Sum cd = static_cast<Sum>(static_cast<Sum>(c[i]) + static_cast<Sum>(d[i]));
      sums[i] = static_cast<Sum>(sums[i] + static_cast<Sum>(ab + cd));
    }
  }
  for (; rows > 0; --rows, data += stride) {
    const auto* __restrict a = reinterpret_cast<const T*>(data);
    for (std::size_t i = 0; i < samples; ++i) sums[i] = static_cast<Sum>(sums[i] + static_cast<Sum>(a[i]));
  }
}

// columns += sums; sums = 0.
template <class Column, class Sum>
void SpillRows(Column* __restrict columns, Sum* __restrict sums, std::size_t samples) noexcept {
  for (std::size_t i = 0; i < samples; ++i) {
    columns[i] += static_cast<Column>(sums[i]);
    sums[i] = Sum{};
  }
}

// totals = columns + sums + first * row; columns = next * row; sums = 0. A null row is one of zeros, and so are null
// sums.
template <class T, class Column = typename SSampleTraits<T>::Column, class Sum = typename SSampleTraits<T>::Sum>
void CloseColumns(Column* __restrict totals, Column* __restrict columns, Sum* __restrict sums, const T* __restrict row,
                  Column first, Column next, std::size_t samples) noexcept {
  if (row == nullptr) {
    for (std::size_t i = 0; i < samples; ++i) {
      totals[i] = columns[i] + static_cast<Column>(sums[i]);
      columns[i] = Column{};
      sums[i] = Sum{};
    }
    return;
  }
  if (sums == nullptr) {
    for (std::size_t i = 0; i < samples; ++i) {
      const auto sample = static_cast<Column>(row[i]);
      totals[i] = columns[i] + first * sample;
      columns[i] = next * sample;
    }
    return;
  }
  for (std::size_t i = 0; i < samples; ++i) {
    const auto sample = static_cast<Column>(row[i]);
    totals[i] = columns[i] + static_cast<Column>(sums[i]) + first * sample;
    columns[i] = next * sample;
    sums[i] = Sum{};
  }
}

// The pixels of a span among the totals.
template <class Column>
struct SSpanTotals {
  SSpanTotals(const Column* totals, const SPixelSpan& span, std::size_t components) noexcept
      : first(totals + span.begin * components), last(totals + (std::size_t{span.end} - 1) * components) {}
  const Column* first;
  const Column* last;
};

template <class Column>
inline void AddSpanOfOne(double* out, const Column* totals, const SPixelSpan& span) noexcept {
  const SSpanTotals<Column> pixels(totals, span, 1);
  const Column *p = pixels.first, *last = pixels.last;
  // Independent partial sums: one addition waits for the one before it.
  Column a = *p * static_cast<Column>(span.firstWeight), b{}, c{}, d{};
  if (p != last) {
    for (++p; p + 3 < last; p += 4) {
      a += p[0];
      b += p[1];
      c += p[2];
      d += p[3];
    }
    for (; p < last; ++p) b += *p;
    c += *last * static_cast<Column>(span.lastWeight);
  }
  *out += static_cast<double>((a + b) + (c + d));
}

// Four neighbours at once: the fourth is of the next pixel, or behind the row, and is left out.
template <class Column>
inline void AddSpanOfThree(double* out, const Column* totals, const SPixelSpan& span) noexcept {
  using Four [[gnu::vector_size(4 * sizeof(Column))]] = Column;
  const SSpanTotals<Column> pixels(totals, span, 3);
  Four sum, next;
  std::memcpy(&sum, pixels.first, sizeof sum);
  sum *= static_cast<Column>(span.firstWeight);
  if (pixels.first != pixels.last) {
    for (const Column* p = pixels.first + 3; p < pixels.last; p += 3) {
      std::memcpy(&next, p, sizeof next);
      sum += next;
    }
    std::memcpy(&next, pixels.last, sizeof next);
    sum += next * static_cast<Column>(span.lastWeight);
  }
  for (int k = 0; k < 3; ++k) out[k] += static_cast<double>(sum[k]);
}

template <class Column>
void AddSpanOfAny(double* out, const Column* totals, const SPixelSpan& span, std::uint32_t components) noexcept {
  const SSpanTotals<Column> pixels(totals, span, components);
  for (std::uint32_t k = 0; k < components; ++k) {
    Column sum = pixels.first[k] * static_cast<Column>(span.firstWeight);
    if (pixels.first != pixels.last) {
      for (const Column* q = pixels.first + components; q < pixels.last; q += components) sum += q[k];
      sum += pixels.last[k] * static_cast<Column>(span.lastWeight);
    }
    out[k] += static_cast<double>(sum);
  }
}

// Adds the result pixels' shares of the totals to `out`, a result row. Of three components one more is read behind the
// totals.
template <class Column>
void AddSpans(double* out, const Column* totals, std::span<const SPixelSpan> spans, std::uint32_t components) noexcept {
  if (components == 1) {
    for (const SPixelSpan& span : spans) AddSpanOfOne(out + span.result, totals, span);
  } else if (components == 3) {
    for (const SPixelSpan& span : spans) AddSpanOfThree(out + std::size_t{span.result} * 3, totals, span);
  } else {
    for (const SPixelSpan& span : spans) {
      AddSpanOfAny(out + std::size_t{span.result} * components, totals, span, components);
    }
  }
}

// Whether no sample is NaN or infinite: 0 * x is 0 for finite x and NaN else.
template <class T>
bool AllFinite(const T* row, std::size_t samples) noexcept {
  T a{}, b{}, c{}, d{};
  std::size_t i = 0;
  for (; i + 4 <= samples; i += 4) {
    a += row[i] * T{0};
    b += row[i + 1] * T{0};
    c += row[i + 2] * T{0};
    d += row[i + 3] * T{0};
  }
  for (; i < samples; ++i) a += row[i] * T{0};
  const T sum = (a + b) + (c + d);
  return sum == sum;
}

}  // namespace imageformats
