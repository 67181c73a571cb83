#include "platform/imageformats/tiff/rows/sample_unpack.h"

#include <bit>
#include <cstring>

#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/base/small_float.h"

namespace imageformats::tiff {
namespace {

// Reads samples of any width up to 32 bits, packed from the high bit on.
class CBitReader {
 public:
  explicit CBitReader(const std::uint8_t* bytes) : m_next(bytes) {}
  std::uint32_t Read(std::uint32_t bits) noexcept {
    while (m_held < bits) {
      m_bits = m_bits << 8 | *m_next++;
      m_held += 8;
    }
    m_held -= bits;
    return static_cast<std::uint32_t>(m_bits >> m_held) & Mask(bits);
  }

 private:
  static std::uint32_t Mask(std::uint32_t bits) noexcept {
    return bits >= 32 ? 0xFFFFFFFFu : (std::uint32_t{1} << bits) - 1;
  }
  const std::uint8_t* m_next;
  std::uint64_t m_bits = 0;
  std::uint32_t m_held = 0;
};

std::uint32_t Read24Bits(const std::uint8_t* p) noexcept {
  if constexpr (std::endian::native == std::endian::little) {
    return p[0] | std::uint32_t{p[1]} << 8 | std::uint32_t{p[2]} << 16;
  }
  return p[2] | std::uint32_t{p[1]} << 8 | std::uint32_t{p[0]} << 16;
}

std::int32_t SignExtended(std::uint32_t value, std::uint32_t bits) noexcept {
  const std::uint32_t unused = 32 - bits;
  return static_cast<std::int32_t>(value << unused) >> unused;
}

std::int64_t SignExtended(std::uint64_t value, std::uint32_t bits) noexcept {
  const std::uint32_t unused = 64 - bits;
  return static_cast<std::int64_t>(value << unused) >> unused;
}

template <class T, class Next>
void Fill(void* out, std::size_t count, Next&& next) noexcept {
  auto* samples = static_cast<T*>(out);
  for (std::size_t i = 0; i < count; ++i) samples[i] = static_cast<T>(next(i));
}

// Integers of 33 to 63 bits.
void UnpackLongIntegers(const SDecodedLayout& layout, const std::uint8_t* row, std::size_t count, void* out) noexcept {
  CBitReader reader(row);
  const std::uint32_t bits = layout.bits, bytes = bits / 8;
  const auto value = [&](std::size_t i) {
    if (bits % 8 == 0) return IntegerAt(row + bytes * i, bytes, layout.bigEndian);
    const std::uint64_t high = reader.Read(bits - 32);
    return high << 32 | reader.Read(32);
  };
  if (layout.format != ESampleFormat::kSigned) return Fill<std::uint64_t>(out, count, value);
  Fill<std::int64_t>(out, count, [&](std::size_t i) { return SignExtended(value(i), bits); });
}

// Integers of less than 32 bits that are no whole bytes, and 24-bit ones.
void UnpackIntegers(const SDecodedLayout& layout, const std::uint8_t* row, std::size_t count, void* out) noexcept {
  CBitReader reader(row);
  const std::uint32_t bits = layout.bits;
  const auto value = [&](std::size_t i) { return bits == 24 ? Read24Bits(row + 3 * i) : reader.Read(bits); };
  const auto signedValue = [&](std::size_t i) { return SignExtended(value(i), bits); };
  switch (UnpackedType(layout)) {
    case ESampleType::kU8:
      return Fill<std::uint8_t>(out, count, value);
    case ESampleType::kU16:
      return Fill<std::uint16_t>(out, count, value);
    case ESampleType::kU32:
      return Fill<std::uint32_t>(out, count, value);
    case ESampleType::kI8:
      return Fill<std::int8_t>(out, count, signedValue);
    case ESampleType::kI16:
      return Fill<std::int16_t>(out, count, signedValue);
    default:
      return Fill<std::int32_t>(out, count, signedValue);
  }
}

}  // namespace

ESampleType UnpackedType(const SDecodedLayout& layout) noexcept {
  if (layout.format == ESampleFormat::kFloat) return layout.bits == 64 ? ESampleType::kF64 : ESampleType::kF32;
  const bool isSigned = layout.format == ESampleFormat::kSigned;
  if (layout.bits <= 8) return isSigned ? ESampleType::kI8 : ESampleType::kU8;
  if (layout.bits <= 16) return isSigned ? ESampleType::kI16 : ESampleType::kU16;
  if (layout.bits <= 32) return isSigned ? ESampleType::kI32 : ESampleType::kU32;
  return isSigned ? ESampleType::kI64 : ESampleType::kU64;
}

bool IsUnpacked(const SDecodedLayout& layout) noexcept { return layout.bits == SampleBytes(UnpackedType(layout)) * 8; }

void UnpackRow(const SDecodedLayout& layout, const std::uint8_t* row, std::size_t count, void* out) noexcept {
  if (IsUnpacked(layout)) {
    std::memcpy(out, row, count * SampleBytes(UnpackedType(layout)));
  } else if (layout.format != ESampleFormat::kFloat) {
    layout.bits > 32 ? UnpackLongIntegers(layout, row, count, out) : UnpackIntegers(layout, row, count, out);
  } else if (layout.bits == 16) {
    Fill<float>(out, count, [&](std::size_t i) {
      std::uint16_t half;
      std::memcpy(&half, row + 2 * i, sizeof half);
      return SmallFloat(half, 5, 10);
    });
  } else {
    Fill<float>(out, count, [&](std::size_t i) { return SmallFloat(Read24Bits(row + 3 * i), 7, 16); });
  }
}

}  // namespace imageformats::tiff
