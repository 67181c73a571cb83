#include "tools/samples/volume.h"

CVolume::CVolume(int width, int height, int slabs) : m_slabs(static_cast<std::size_t>(slabs), SPlane(width, height)) {}

float CVolume::SlabDepth(std::size_t index) const {
  return (static_cast<float>(index) + 0.5f) / static_cast<float>(m_slabs.size());
}

void CVolume::Add(float x, float y, float z, float amount) {
  const auto last = static_cast<float>(m_slabs.size() - 1);
  const float position = std::clamp(z * static_cast<float>(m_slabs.size()) - 0.5f, 0.0f, last);
  const auto lower = static_cast<std::size_t>(position);
  const float share = position - static_cast<float>(lower);
  Splat(&m_slabs[lower], x, y, amount * (1 - share));
  if (share > 0) Splat(&m_slabs[lower + 1], x, y, amount * share);
}

void CVolume::AddDisc(float x, float y, float z, float radius, float amount) {
  const auto slab = static_cast<std::size_t>(std::clamp(z, 0.0f, 0.999f) * static_cast<float>(m_slabs.size()));
  SPlane& plane = m_slabs[slab];
  ForEachNear(plane, x, y, radius + 1, [&](int px, int py) {
    const float distance = std::hypot(static_cast<float>(px) - x, static_cast<float>(py) - y);
    plane.Row(py)[px] += amount * SmoothStep(radius + 0.7f, radius - 0.7f, distance);
  });
}

void CVolume::AddColumn(int x, int y, float bottom, float top, float density) {
  const auto count = static_cast<float>(m_slabs.size());
  for (std::size_t i = 0; i < m_slabs.size(); ++i) {
    const auto low = static_cast<float>(i) / count;
    const float covered = std::min(top, low + 1 / count) - std::max(bottom, low);
    if (covered > 0) m_slabs[i].Row(y)[x] += density * covered * count;
  }
}

SPlane CVolume::Focus(float z, float sharpness, float defocus) const {
  SPlane sum(Width(), Height());
  for (std::size_t i = 0; i < m_slabs.size(); ++i) {
    SPlane slab = m_slabs[i];
    const float distance = m_slabs.size() == 1 ? 0 : defocus * std::fabs(z - SlabDepth(i));
    Blur(&slab, std::hypot(sharpness, distance));
    for (std::size_t k = 0; k < sum.values.size(); ++k) sum.values[k] += slab.values[k];
  }
  return sum;
}

float Percentile(const SPlane& plane, double fraction) {
  std::vector<float> values = plane.values;
  const auto at = values.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), at, values.end());
  return *at;
}
