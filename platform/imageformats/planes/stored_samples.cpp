#include "platform/imageformats/planes/stored_samples.h"

#include <bit>
#include <cmath>
#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/base/small_float.h"

namespace imageformats {

namespace {

template <class T>
void SwapIntegers(const std::uint8_t* bytes, std::size_t count, void* out) noexcept {
  auto* to = static_cast<T*>(out);
  constexpr bool foreign = std::endian::native == std::endian::little;
  for (std::size_t i = 0; i < count; ++i) to[i] = static_cast<T>(IntegerAt(bytes + i * sizeof(T), sizeof(T), foreign));
}

void LoadHalves(const SStoredSamples& stored, const std::uint8_t* bytes, std::size_t count, void* out) noexcept {
  auto* to = static_cast<float*>(out);
  for (std::size_t i = 0; i < count; ++i) {
    to[i] = SmallFloat(static_cast<std::uint32_t>(IntegerAt(bytes + 2 * i, 2, stored.bigEndian)), 5, 10);
  }
}

}  // namespace

ESampleType LoadedType(const SStoredSamples& stored) {
  const bool isSigned = stored.kind == SStoredSamples::EKind::kSigned;
  if (stored.kind == SStoredSamples::EKind::kFloat) {
    if (stored.bytes == 2 || stored.bytes == 4) return ESampleType::kF32;
    if (stored.bytes == 8) return ESampleType::kF64;
  } else {
    if (stored.bytes == 1) return isSigned ? ESampleType::kI8 : ESampleType::kU8;
    if (stored.bytes == 2) return isSigned ? ESampleType::kI16 : ESampleType::kU16;
    if (stored.bytes == 4) return isSigned ? ESampleType::kI32 : ESampleType::kU32;
    if (stored.bytes == 8) return isSigned ? ESampleType::kI64 : ESampleType::kU64;
  }
  throw CUnsupportedError("Samples of this size are not supported");
}

void LoadSamples(const SStoredSamples& stored, const std::uint8_t* bytes, std::size_t count, void* out) noexcept {
  if (stored.kind == SStoredSamples::EKind::kFloat && stored.bytes == 2) {
    return LoadHalves(stored, bytes, count, out);
  }
  if (stored.bytes == 1 || stored.bigEndian == (std::endian::native == std::endian::big)) {
    std::memcpy(out, bytes, count * stored.bytes);
  } else if (stored.bytes == 2) {
    SwapIntegers<std::uint16_t>(bytes, count, out);
  } else if (stored.bytes == 4) {
    SwapIntegers<std::uint32_t>(bytes, count, out);
  } else {
    SwapIntegers<std::uint64_t>(bytes, count, out);
  }
}

SDisplayRange NominalRangeOf(const SStoredSamples& stored) noexcept {
  if (stored.kind == SStoredSamples::EKind::kFloat) return {0.0, 1.0};
  const int bits = static_cast<int>(stored.bytes * 8);
  if (stored.kind == SStoredSamples::EKind::kUnsigned) return {0.0, std::ldexp(1.0, bits) - 1.0};
  return {-std::ldexp(1.0, bits - 1), std::ldexp(1.0, bits - 1) - 1.0};
}

}  // namespace imageformats
