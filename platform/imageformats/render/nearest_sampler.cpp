#include "platform/imageformats/render/nearest_sampler.h"

#include <cstring>
#include <utility>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

// The source coordinate in the middle of what result pixel `index` covers.
std::uint32_t MiddleOf(std::uint32_t index, std::uint32_t source, std::uint32_t result) noexcept {
  return static_cast<std::uint32_t>((2 * std::uint64_t{index} + 1) * source / (2 * std::uint64_t{result}));
}

// The first result pixel whose middle lies at or behind `from`.
std::uint32_t FirstResult(std::uint32_t from, std::uint32_t source, std::uint32_t result) noexcept {
  auto index = static_cast<std::uint32_t>(std::uint64_t{from} * result / source);
  while (index > 0 && MiddleOf(index - 1, source, result) >= from) --index;
  while (index < result && MiddleOf(index, source, result) < from) ++index;
  return index;
}

template <class T>
float SampleAs(const std::uint8_t* at) noexcept {
  T value;
  std::memcpy(&value, at, sizeof value);
  return static_cast<float>(value);
}

float SampleAt(ESampleType type, const std::uint8_t* at) noexcept {
  switch (type) {
    case ESampleType::kU8:
      return SampleAs<std::uint8_t>(at);
    case ESampleType::kU16:
      return SampleAs<std::uint16_t>(at);
    case ESampleType::kU32:
      return SampleAs<std::uint32_t>(at);
    case ESampleType::kU64:
      return SampleAs<std::uint64_t>(at);
    case ESampleType::kI8:
      return SampleAs<std::int8_t>(at);
    case ESampleType::kI16:
      return SampleAs<std::int16_t>(at);
    case ESampleType::kI32:
      return SampleAs<std::int32_t>(at);
    case ESampleType::kI64:
      return SampleAs<std::int64_t>(at);
    case ESampleType::kF32:
      return SampleAs<float>(at);
    case ESampleType::kF64:
      return SampleAs<double>(at);
  }
  return 0.0f;
}

}  // namespace

CNearestSampler::CNearestSampler(SSize source, SSize result, ESampleType type, CRenderGuard& guard)
    : m_source(source), m_type(type) {
  if (result.width == 0 || result.height == 0 || result.width > source.width || result.height > source.height) {
    throw CDamagedError("The picture cannot be reduced to this size");
  }
  m_picture.size = result;
  m_picture.components = 1;
  m_picture.samples = guard.NewVector<float>(CRenderGuard::Multiply(result.width, result.height));
}

void CNearestSampler::AddBand(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                              const void* data, std::size_t stride, std::size_t pixelBytes) {
  const auto* bytes = static_cast<const std::uint8_t*>(data);
  const SSize result = m_picture.size;
  if (x >= m_source.width || y >= m_source.height) return;
  for (std::uint32_t j = FirstResult(y, m_source.height, result.height); j < result.height; ++j) {
    const std::uint32_t row = MiddleOf(j, m_source.height, result.height) - y;
    if (row >= height) break;
    for (std::uint32_t i = FirstResult(x, m_source.width, result.width); i < result.width; ++i) {
      const std::uint32_t column = MiddleOf(i, m_source.width, result.width) - x;
      if (column >= width) break;
      m_picture.samples[std::size_t{j} * result.width + i] =
          SampleAt(m_type, bytes + row * stride + column * pixelBytes);
    }
  }
}

SAveragedPicture CNearestSampler::Finish() { return std::move(m_picture); }

}  // namespace imageformats
