#include "platform/imageformats/png/png_wavefront.h"

#include <algorithm>
#include <cstring>

#include "platform/imageformats/png/png_filter_lanes.h"
#include "platform/imageformats/png/png_unfilter.h"

namespace imageformats {

namespace {

enum class EMix { kAverage, kPaeth, kAny };

// A row has four lanes, and two rows share a vector.
using SRowPair = SPngLanes;
using SRowHalves = std::int64_t __attribute__((vector_size(16)));

SRowPair UpperHalves(SRowPair first, SRowPair second) noexcept {
  return (SRowPair)__builtin_shufflevector((SRowHalves)first, (SRowHalves)second, 0, 2);
}
SRowPair Between(SRowPair first, SRowPair second) noexcept {
  return (SRowPair)__builtin_shufflevector((SRowHalves)first, (SRowHalves)second, 1, 2);
}

// Which lanes are of a filter, or of one that looks at a neighbour. Sub, Up and None are Paeth without the neighbours
// that they do not look at.
struct SFilterMasks {
  SRowPair isAverage, seesLeft, seesUp, seesUpLeft;

  SFilterMasks(std::uint8_t first, std::uint8_t second) noexcept
      : isAverage(MaskOf(first == kPngAverage, second == kPngAverage)),
        seesLeft(MaskOf(SeesLeft(first), SeesLeft(second)) & 255),
        seesUp(MaskOf(SeesUp(first), SeesUp(second))),
        seesUpLeft(MaskOf(first == kPngPaeth, second == kPngPaeth)) {}

 private:
  static bool SeesLeft(std::uint8_t filter) noexcept { return filter != kPngNone && filter != kPngUp; }
  static bool SeesUp(std::uint8_t filter) noexcept { return filter >= kPngUp; }
  static SRowPair MaskOf(bool first, bool second) noexcept {
    const auto a = static_cast<std::int16_t>(-first), b = static_cast<std::int16_t>(-second);
    return SRowPair{a, a, a, a, b, b, b, b};
  }
};

// Two rows: their last pixels, as their filters see them, and those above these.
template <EMix kMix>
class CRowPair {
 public:
  explicit CRowPair(const SFilterMasks& masks) noexcept : m_masks(masks) {}

  SRowPair Pixels() const noexcept { return m_pixels; }

  void Step(SRowPair stored, SRowPair up) noexcept {
    if constexpr (kMix == EMix::kAverage) {
      m_left = m_pixels = (stored + AveragePredictor(m_left, up)) & 255;
    } else if constexpr (kMix == EMix::kPaeth) {
      m_left = m_pixels = (stored + PaethPredictor(m_left, up, m_upLeft)) & 255;
      m_upLeft = up;
    } else {
      const SRowPair seenUp = up & m_masks.seesUp;
      const SRowPair average = AveragePredictor(m_left, seenUp), paeth = PaethPredictor(m_left, seenUp, m_upLeft);
      const SRowPair sum = stored + ((average & m_masks.isAverage) | (paeth & ~m_masks.isAverage));
      m_pixels = sum & 255;
      m_left = sum & m_masks.seesLeft;
      m_upLeft = up & m_masks.seesUpLeft;
    }
  }

 private:
  const SFilterMasks m_masks;
  SRowPair m_pixels = {}, m_left = {}, m_upLeft = {};
};

template <std::size_t kPixel, EMix kMix>
class CWavefront {
 public:
  CWavefront(std::uint8_t* rows, std::size_t stride, std::size_t bytes) noexcept
      : m_rows(rows),
        m_stride(static_cast<std::ptrdiff_t>(stride)),
        m_bytes(static_cast<std::ptrdiff_t>(bytes)),
        m_first({rows[-1], m_rows[m_stride - 1]}),
        m_second({m_rows[2 * m_stride - 1], m_rows[3 * m_stride - 1]}) {}

  void Run() noexcept {
    constexpr std::ptrdiff_t kStep = kPixel, kDelay = (kWavefrontRows - 1) * kStep;
    std::ptrdiff_t i = 0;
    for (; i < kDelay; i += kStep) Step<true>(i);
    for (; i < m_bytes; i += kStep) Step<false>(i);
    for (; i < m_bytes + kDelay; i += kStep) Step<true>(i);
  }

 private:
  // The first row's pixel at byte i, the second's before it and so on. On an edge some are outside: what is not loaded
  // there is 0, and so is what comes of it before a row's first pixel.
  template <bool kOnEdge>
  void Step(std::ptrdiff_t i) noexcept {
    const SRowPair above = Load<kOnEdge>(-1, i);
    const SRowPair first = UpperHalves(Load<kOnEdge>(0, i), Load<kOnEdge>(1, i));
    const SRowPair second = UpperHalves(Load<kOnEdge>(2, i), Load<kOnEdge>(3, i));
    const SRowPair aboveSecond = Between(m_first.Pixels(), m_second.Pixels());
    m_first.Step(first, UpperHalves(above, m_first.Pixels()));
    m_second.Step(second, aboveSecond);
    const std::uint64_t pixels = BytesOfPngLanes(m_first.Pixels()), others = BytesOfPngLanes(m_second.Pixels());
    Store<kOnEdge>(0, i, pixels);
    Store<kOnEdge>(1, i, pixels >> 32);
    Store<kOnEdge>(2, i, others);
    Store<kOnEdge>(3, i, others >> 32);
  }

  static std::ptrdiff_t Offset(int row, std::ptrdiff_t i) noexcept {
    return i - std::max(row, 0) * static_cast<std::ptrdiff_t>(kPixel);
  }
  bool IsInside(std::ptrdiff_t offset) const noexcept { return offset >= 0 && offset < m_bytes; }

  // Four bytes at once where they are there; those behind the pixel are in lanes that are never stored.
  template <bool kOnEdge>
  SRowPair Load(int row, std::ptrdiff_t i) const noexcept {
    const std::ptrdiff_t offset = Offset(row, i);
    if (kOnEdge && !IsInside(offset)) return SRowPair{};
    return LoadPngLanes(m_rows + (row * m_stride + offset), kOnEdge || kPixel != 3 ? kPixel : 4);
  }

  template <bool kOnEdge>
  void Store(int row, std::ptrdiff_t i, std::uint64_t pixel) noexcept {
    const std::ptrdiff_t offset = Offset(row, i);
    if (kOnEdge && !IsInside(offset)) return;
    std::memcpy(m_rows + (row * m_stride + offset), &pixel, kPixel);
  }

  std::uint8_t* m_rows;
  const std::ptrdiff_t m_stride, m_bytes;
  CRowPair<kMix> m_first, m_second;
};

// Row by row an Average takes about 2, a Paeth 5, and others next to nothing, of what four rows of any mix take 10.
constexpr int kCostOfAny = 10;
constexpr int CostOf(std::uint8_t filter) noexcept { return filter == kPngAverage ? 2 : filter == kPngPaeth ? 5 : 0; }

}  // namespace

template <std::size_t kPixel>
bool UnfilterByWavefront(std::uint8_t* rows, std::size_t stride, std::size_t bytes) noexcept {
  std::uint8_t least = kPngPaeth, most = kPngNone;
  int cost = 0;
  for (std::size_t row = 0; row < kWavefrontRows; ++row) {
    const std::uint8_t filter = *(rows + row * stride - 1);
    least = std::min(least, filter);
    most = std::max(most, filter);
    cost += CostOf(filter);
  }
  if (most > kPngPaeth) return false;
  if (least == kPngPaeth) {
    CWavefront<kPixel, EMix::kPaeth>(rows, stride, bytes).Run();
  } else if (least == kPngAverage && most == kPngAverage) {
    CWavefront<kPixel, EMix::kAverage>(rows, stride, bytes).Run();
  } else if (cost > kCostOfAny) {
    CWavefront<kPixel, EMix::kAny>(rows, stride, bytes).Run();
  } else {
    return false;
  }
  return true;
}

template bool UnfilterByWavefront<1>(std::uint8_t*, std::size_t, std::size_t) noexcept;
template bool UnfilterByWavefront<2>(std::uint8_t*, std::size_t, std::size_t) noexcept;
template bool UnfilterByWavefront<3>(std::uint8_t*, std::size_t, std::size_t) noexcept;
template bool UnfilterByWavefront<4>(std::uint8_t*, std::size_t, std::size_t) noexcept;

}  // namespace imageformats
