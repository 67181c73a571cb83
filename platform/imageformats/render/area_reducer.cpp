#include "platform/imageformats/render/area_reducer.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/reducer_kernel.h"

namespace imageformats {

namespace {

using CKernelPtr = std::unique_ptr<CAreaReducer::CKernel>;

CKernelPtr MakeKernel(const SSourceAxis& x, const SSourceAxis& y, SSize result, std::uint32_t components,
                      ESampleType type, CRenderGuard& guard) {
  const auto make = [&]<class T>(T) -> CKernelPtr {
    return std::make_unique<CTypedKernel<T>>(x, y, result, components, guard);
  };
  switch (type) {
    case ESampleType::kU8:
      return make(std::uint8_t{});
    case ESampleType::kU16:
      return make(std::uint16_t{});
    case ESampleType::kU32:
      return make(std::uint32_t{});
    case ESampleType::kU64:
      return make(std::uint64_t{});
    case ESampleType::kI8:
      return make(std::int8_t{});
    case ESampleType::kI16:
      return make(std::int16_t{});
    case ESampleType::kI32:
      return make(std::int32_t{});
    case ESampleType::kI64:
      return make(std::int64_t{});
    case ESampleType::kF32:
      return make(float{});
    case ESampleType::kF64:
      return make(double{});
  }
  throw CDamagedError("The pixels are of an unknown type");
}

}  // namespace

std::size_t SampleBytes(ESampleType type) noexcept {
  switch (type) {
    case ESampleType::kU8:
    case ESampleType::kI8:
      return 1;
    case ESampleType::kU16:
    case ESampleType::kI16:
      return 2;
    case ESampleType::kU32:
    case ESampleType::kI32:
    case ESampleType::kF32:
      return 4;
    case ESampleType::kU64:
    case ESampleType::kI64:
    case ESampleType::kF64:
      return 8;
  }
  return 1;
}

SSize ReducedSize(const SSourceAxis& x, const SSourceAxis& y, SSize displayedRequest, EOrientation o) noexcept {
  const SSize wanted = DisplayedSize(displayedRequest, o);
  return {std::min(wanted.width, MaxResultPixels(x)), std::min(wanted.height, MaxResultPixels(y))};
}

SSize ReducedSize(SSize stored, SSize displayedRequest, EOrientation o) noexcept {
  return ReducedSize(PlainAxis(stored.width), PlainAxis(stored.height), displayedRequest, o);
}

CAreaReducer::CAreaReducer(const SSourceAxis& x, const SSourceAxis& y, SSize result, std::uint32_t components,
                           ESampleType type, CRenderGuard& guard)
    : m_kernel(MakeKernel(x, y, result, components, type, guard)) {}

CAreaReducer::CAreaReducer(SSize source, SSize result, std::uint32_t components, ESampleType type, CRenderGuard& guard)
    : CAreaReducer(PlainAxis(source.width), PlainAxis(source.height), result, components, type, guard) {}

CAreaReducer::CAreaReducer(CAreaReducer&&) noexcept = default;
CAreaReducer& CAreaReducer::operator=(CAreaReducer&&) noexcept = default;
CAreaReducer::~CAreaReducer() = default;

void CAreaReducer::AddBand(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height,
                           const void* data, std::size_t stride) {
  m_kernel->AddBand(x, y, width, height, data, stride);
}

bool CAreaReducer::IsComplete() const noexcept { return m_kernel->IsComplete(); }

SAveragedPicture CAreaReducer::Finish() { return m_kernel->Finish(); }

}  // namespace imageformats
