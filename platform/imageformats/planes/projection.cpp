#include "platform/imageformats/planes/projection.h"

#include <cmath>
#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

CProjection::CProjection(EKind kind, CLayers first, CRenderGuard& guard) : m_kind(kind), m_result(std::move(first)) {
  for (const SAveragedPicture& layer : m_result) {
    guard.Reserve(CRenderGuard::Multiply(layer.samples.size(), 2 * sizeof(float) + 1));
    std::vector<std::uint8_t>& counts = m_counts.emplace_back(layer.samples.size());
    for (std::size_t i = 0; i < counts.size(); ++i) counts[i] = std::isfinite(layer.samples[i]);
  }
}

void CProjection::Add(const CLayers& plane) {
  bool fits = plane.size() == m_result.size();
  for (std::size_t k = 0; fits && k < plane.size(); ++k) {
    fits = plane[k].size == m_result[k].size && plane[k].samples.size() == m_result[k].samples.size();
  }
  if (!fits) throw CDamagedError("The planes differ in size");
  for (std::size_t k = 0; k < plane.size(); ++k) {
    for (std::size_t i = 0; i < plane[k].samples.size(); ++i) {
      const float value = plane[k].samples[i];
      if (!std::isfinite(value)) continue;
      float& result = m_result[k].samples[i];
      std::uint8_t& count = m_counts[k][i];
      const bool isSum = m_kind == EKind::kMean && count > 0;
      if (isSum) {
        result += value;
      } else if (count == 0 || value > result) {
        result = value;
      }
      ++count;
    }
  }
}

CLayers CProjection::Finish() {
  for (std::size_t k = 0; k < m_result.size() && m_kind == EKind::kMean; ++k) {
    for (std::size_t i = 0; i < m_counts[k].size(); ++i) {
      if (m_counts[k][i] > 1) m_result[k].samples[i] /= static_cast<float>(m_counts[k][i]);
    }
  }
  return std::move(m_result);
}

}  // namespace imageformats
