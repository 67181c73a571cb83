#include "platform/imageformats/png/png_unfilter.h"

#include "platform/imageformats/base/running_sums.h"
#include "platform/imageformats/png/png_filter_lanes.h"
#include "platform/imageformats/png/png_wavefront.h"

namespace imageformats {

namespace {

template <std::size_t kPixel>
void StorePixel(std::uint8_t* p, SPngLanes lanes) noexcept {
  const std::uint64_t packed = BytesOfPngLanes(lanes);
  std::memcpy(p, &packed, kPixel);
}

// Calls step(offset, bytes) for each pixel; `bytes` of the row may be loaded there: eight while there are as many.
template <std::size_t kPixel, class Step>
void ForEachPixel(std::size_t bytes, Step&& step) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= bytes; i += kPixel) step(i, std::size_t{8});
  for (; i + kPixel <= bytes; i += kPixel) step(i, kPixel);
}

void UnfilterUp(std::uint8_t* __restrict row, const std::uint8_t* __restrict above, std::size_t bytes) noexcept {
  for (std::size_t i = 0; i < bytes; ++i) row[i] = static_cast<std::uint8_t>(row[i] + above[i]);
}

template <std::size_t kPixel>
void UnfilterAverage(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) noexcept {
  SPngLanes left = {};
  ForEachPixel<kPixel>(bytes, [&](std::size_t i, std::size_t size) {
    left = (LoadPngLanes(row + i, size) + AveragePredictor(left, LoadPngLanes(above + i, size))) & 255;
    StorePixel<kPixel>(row + i, left);
  });
}

template <std::size_t kPixel>
void UnfilterPaeth(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) noexcept {
  SPngLanes left = {}, upLeft = {};
  ForEachPixel<kPixel>(bytes, [&](std::size_t i, std::size_t size) {
    const SPngLanes up = LoadPngLanes(above + i, size);
    left = (LoadPngLanes(row + i, size) + PaethPredictor(left, up, upLeft)) & 255;
    upLeft = up;
    StorePixel<kPixel>(row + i, left);
  });
}

template <std::size_t kPixel>
bool UnfilterRow(std::uint8_t* row, const std::uint8_t* above, std::size_t bytes) noexcept {
  switch (row[-1]) {
    case kPngNone:
      return true;
    case kPngSub:
      AddPixelsToTheLeft<kPixel>(row, bytes);
      return true;
    case kPngUp:
      UnfilterUp(row, above, bytes);
      return true;
    case kPngAverage:
      UnfilterAverage<kPixel>(row, above, bytes);
      return true;
    case kPngPaeth:
      UnfilterPaeth<kPixel>(row, above, bytes);
      return true;
    default:
      return false;
  }
}

template <std::size_t kPixel>
bool UnfilterRows(std::uint8_t* rows, std::size_t stride, std::uint32_t count, std::size_t bytes) noexcept {
  while (count != 0) {
    if constexpr (kPixel <= kWavefrontPixel) {
      if (count >= kWavefrontRows && UnfilterByWavefront<kPixel>(rows, stride, bytes)) {
        rows += kWavefrontRows * stride;
        count -= kWavefrontRows;
        continue;
      }
    }
    if (!UnfilterRow<kPixel>(rows, rows - stride, bytes)) return false;
    rows += stride;
    --count;
  }
  return true;
}

}  // namespace

bool UnfilterPngRows(std::uint8_t* rows, std::size_t stride, std::uint32_t count, std::size_t bytes,
                     std::size_t pixelBytes) noexcept {
  switch (pixelBytes) {
    case 1:
      return UnfilterRows<1>(rows, stride, count, bytes);
    case 2:
      return UnfilterRows<2>(rows, stride, count, bytes);
    case 3:
      return UnfilterRows<3>(rows, stride, count, bytes);
    case 4:
      return UnfilterRows<4>(rows, stride, count, bytes);
    case 6:
      return UnfilterRows<6>(rows, stride, count, bytes);
    case 8:
      return UnfilterRows<8>(rows, stride, count, bytes);
    default:
      return false;
  }
}

}  // namespace imageformats
