#include "platform/imageformats/planes/picture_samples.h"

#include <algorithm>
#include <cmath>

namespace imageformats {

template <class T>
void CSampleExtremes::IncludeAll(const T* samples, std::size_t count) noexcept {
  for (std::size_t i = 0; i < count; ++i) {
    const auto value = static_cast<double>(samples[i]);
    if (!std::isfinite(value)) continue;
    if (!m_any) m_range = {value, value};
    m_any = true;
    m_range = {std::min(m_range.low, value), std::max(m_range.high, value)};
  }
}

void CSampleExtremes::Include(ESampleType type, const void* samples, std::size_t count) noexcept {
  if (type == ESampleType::kF64) return IncludeAll(static_cast<const double*>(samples), count);
  IncludeAll(static_cast<const float*>(samples), count);
}

SDisplayRange CSampleExtremes::Range() const noexcept {
  return m_range.low < m_range.high ? m_range : SDisplayRange{m_range.high, m_range.high + 1.0};
}

CPictureSamples::CPictureSamples(ESampleType type, std::uint32_t bits, const SDisplayRange& range) noexcept
    : m_type(type), m_shift(bits - std::min(bits, 16u)), m_range(range) {}

template <class From, class To, class Function>
const void* CPictureSamples::Map(const void* samples, std::size_t count, Function&& function) {
  m_row.resize(count * sizeof(To));
  const auto* from = static_cast<const From*>(samples);
  auto* to = reinterpret_cast<To*>(m_row.data());
  for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<To>(function(from[i]));
  return m_row.data();
}

std::uint16_t CPictureSamples::Scaled(double value) const noexcept {
  const double share = (value - m_range.low) / (m_range.high - m_range.low);
  return share > 0.0 ? static_cast<std::uint16_t>(std::min(share, 1.0) * 65535.0 + 0.5) : std::uint16_t{0};
}

const void* CPictureSamples::Convert(const void* samples, std::size_t count) {
  const auto wide = [this](auto v) { return v >> m_shift; };
  const auto wideSigned = [this](auto v) { return (v >> m_shift) + 32768; };
  const auto scaled = [this](auto v) { return Scaled(static_cast<double>(v)); };
  switch (m_type) {
    case ESampleType::kU8:
    case ESampleType::kU16:
      return samples;
    case ESampleType::kI8:
      return Map<std::int8_t, std::uint8_t>(samples, count, [](int v) { return v + 128; });
    case ESampleType::kI16:
      return Map<std::int16_t, std::uint16_t>(samples, count, [](int v) { return v + 32768; });
    case ESampleType::kU32:
      return Map<std::uint32_t, std::uint16_t>(samples, count, wide);
    case ESampleType::kI32:
      return Map<std::int32_t, std::uint16_t>(samples, count, wideSigned);
    case ESampleType::kU64:
      return Map<std::uint64_t, std::uint16_t>(samples, count, wide);
    case ESampleType::kI64:
      return Map<std::int64_t, std::uint16_t>(samples, count, wideSigned);
    case ESampleType::kF32:
      return Map<float, std::uint16_t>(samples, count, scaled);
    case ESampleType::kF64:
      return Map<double, std::uint16_t>(samples, count, scaled);
  }
  return samples;
}

}  // namespace imageformats
