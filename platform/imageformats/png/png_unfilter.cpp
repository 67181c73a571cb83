#include "platform/imageformats/png/png_unfilter.h"

#include <cstring>

#include "platform/imageformats/base/running_sums.h"

namespace imageformats {

namespace {

std::uint8_t Add(unsigned a, unsigned b) noexcept { return static_cast<std::uint8_t>(a + b); }

// The samples of one pixel, in the vector type that GCC and Clang share. They stay in one register from pixel to pixel,
// because each pixel waits for its left neighbour.
using SLanes = std::int16_t __attribute__((vector_size(16)));
using SBytes = std::uint8_t __attribute__((vector_size(8)));

SLanes Load(const std::uint8_t* p, std::size_t bytes) noexcept {
  SBytes loaded = {};
  std::memcpy(&loaded, p, bytes);
  return __builtin_convertvector(loaded, SLanes);
}

template <std::size_t kPixel>
void Store(std::uint8_t* p, SLanes lanes) noexcept {
  const SBytes bytes = __builtin_convertvector(lanes, SBytes);
  std::memcpy(p, &bytes, kPixel);
}

SLanes Absolute(SLanes v) noexcept { return v > -v ? v : -v; }

SLanes PaethPredictor(SLanes left, SLanes up, SLanes upLeft) noexcept {
  const SLanes towardsLeft = up - upLeft, towardsUp = left - upLeft;
  const SLanes pa = Absolute(towardsLeft), pb = Absolute(towardsUp), pc = Absolute(towardsLeft + towardsUp);
  const SLanes least = pa < pb ? pa : pb;
  const SLanes nearest = pb < pa ? up : left;
  return pc < least ? upLeft : nearest;
}

// Calls step(offset, bytes) for each pixel; `bytes` of the row may be loaded there: eight while there are as many.
template <std::size_t kPixel, class Step>
void ForEachPixel(std::size_t bytes, Step&& step) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= bytes; i += kPixel) step(i, std::size_t{8});
  for (; i + kPixel <= bytes; i += kPixel) step(i, kPixel);
}

void Up(std::uint8_t* __restrict row, const std::uint8_t* __restrict above, std::size_t bytes) noexcept {
  for (std::size_t i = 0; i < bytes; ++i) row[i] = Add(row[i], above[i]);
}

template <std::size_t kPixel>
void Average(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) noexcept {
  SLanes left = {};
  ForEachPixel<kPixel>(bytes, [&](std::size_t i, std::size_t size) {
    left = (Load(row + i, size) + ((left + Load(above + i, size)) >> 1)) & 255;
    Store<kPixel>(row + i, left);
  });
}

template <std::size_t kPixel>
void Paeth(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) noexcept {
  SLanes left = {}, upLeft = {};
  ForEachPixel<kPixel>(bytes, [&](std::size_t i, std::size_t size) {
    const SLanes up = Load(above + i, size);
    left = (Load(row + i, size) + PaethPredictor(left, up, upLeft)) & 255;
    upLeft = up;
    Store<kPixel>(row + i, left);
  });
}

// The first row has zeros above it: Up changes nothing, Paeth is Sub.
template <std::size_t kPixel>
void AverageWithoutAbove(std::uint8_t* row, std::size_t bytes) noexcept {
  for (std::size_t i = kPixel; i < bytes; ++i) row[i] = Add(row[i], row[i - kPixel] / 2u);
}

template <std::size_t kPixel>
bool Unfilter(std::uint8_t filter, std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) noexcept {
  switch (filter) {
    case 0:
      return true;
    case 1:
      AddPixelsToTheLeft<kPixel>(row, bytes);
      return true;
    case 2:
      if (above != nullptr) Up(row, above, bytes);
      return true;
    case 3:
      above != nullptr ? Average<kPixel>(row, above, bytes) : AverageWithoutAbove<kPixel>(row, bytes);
      return true;
    case 4:
      above != nullptr ? Paeth<kPixel>(row, above, bytes) : AddPixelsToTheLeft<kPixel>(row, bytes);
      return true;
    default:
      return false;
  }
}

}  // namespace

bool UnfilterPngRow(std::uint8_t filter, std::uint8_t* row, const std::uint8_t* above, std::size_t bytes,
                    std::size_t pixelBytes) noexcept {
  switch (pixelBytes) {
    case 1:
      return Unfilter<1>(filter, row, above, bytes);
    case 2:
      return Unfilter<2>(filter, row, above, bytes);
    case 3:
      return Unfilter<3>(filter, row, above, bytes);
    case 4:
      return Unfilter<4>(filter, row, above, bytes);
    case 6:
      return Unfilter<6>(filter, row, above, bytes);
    case 8:
      return Unfilter<8>(filter, row, above, bytes);
    default:
      return false;
  }
}

}  // namespace imageformats
