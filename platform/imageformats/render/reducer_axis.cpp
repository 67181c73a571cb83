#include "platform/imageformats/render/reducer_axis.h"

#include <algorithm>
#include <limits>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

CReducerAxis::CReducerAxis(const SSourceAxis& source, std::uint32_t result)
    : m_source(source), m_result(result), m_step(source.pitch * result) {
  if (source.pixels == 0 || source.pitch == 0 || result == 0 || result > MaxResultPixels(source)) {
    throw CDamagedError("The picture's size is impossible");
  }
  const std::uint64_t reach = std::uint64_t{source.pixels} * source.pitch;
  if (source.extent > reach || reach - source.extent >= source.pitch ||
      std::max(reach, source.extent) > std::numeric_limits<std::uint64_t>::max() / 2 / result) {
    throw CDamagedError("The picture is too large");
  }
}

double CReducerAxis::Ratio() const noexcept {
  return static_cast<double>(m_source.extent) / static_cast<double>(m_step);
}

SPixelShare CReducerAxis::ShareOf(std::uint32_t pixel) const noexcept {
  const std::uint64_t begin = pixel * m_step;
  const std::uint64_t end = std::min(begin + m_step, m_source.extent * m_result);
  SPixelShare share;
  share.result = static_cast<std::uint32_t>(begin / m_source.extent);
  const std::uint64_t border = (std::uint64_t{share.result} + 1) * m_source.extent;
  const auto whole = static_cast<float>(m_step);
  share.weight = static_cast<float>(std::min(end, border) - begin) / whole;
  share.nextWeight = end > border ? static_cast<float>(end - border) / whole : 0.0f;
  share.completes = end >= border;
  return share;
}

std::uint32_t CReducerAxis::InnerPixelsFrom(std::uint32_t pixel) const noexcept {
  const std::uint64_t border = (pixel * m_step / m_source.extent + 1) * m_source.extent;
  const std::uint64_t end = (border - 1) / m_step;
  return end > pixel ? static_cast<std::uint32_t>(end - pixel) : 0;
}

std::vector<SPixelSpan> CReducerAxis::SpansOf(std::uint32_t first, std::uint32_t count) const {
  std::vector<SPixelSpan> spans;
  spans.reserve(static_cast<std::size_t>(static_cast<double>(count) / Ratio()) + 2);
  const auto add = [&spans](std::uint32_t result, std::uint32_t pixel, float weight) {
    if (spans.empty() || spans.back().result != result) {
      spans.push_back({result, pixel, pixel + 1, weight, 1.0f});
    } else {
      spans.back().end = pixel + 1;
      spans.back().lastWeight = weight;
    }
  };
  for (std::uint32_t i = 0; i < count; ++i) {
    const SPixelShare share = ShareOf(first + i);
    add(share.result, i, share.weight);
    if (share.nextWeight > 0.0f) add(share.result + 1, i, share.nextWeight);
  }
  return spans;
}

}  // namespace imageformats
