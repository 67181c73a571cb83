#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/imageformats/jpeg/block_means/block_means.h"

// Blocks without AC coefficients. Every decoder makes a whole level of them, and whole levels again of the colours;
// over an even area all its pixels are off to the same side, which shows in an average of them.
namespace imageformats {

// The mean of any block, in eighths of a level.
inline int MeanInEighths(std::int16_t coefficient, int quantiser) noexcept {
  constexpr int kMidGrey = 8 * 128, kMost = 8 * 255;
  return std::clamp(coefficient * quantiser + kMidGrey, 0, kMost);
}

// What such a block shows, above mid-grey.
inline int FlatLevel(int eighths) noexcept { return ((eighths + 4) >> 3) - 128; }

// JFIF 1.02 (ITU-R BT.601, full range): levels of a colour in one of a component, in parts of 65536, as libjpeg has
// them.
inline constexpr int kColorBits = 16, kColorHalf = 1 << (kColorBits - 1);
inline constexpr std::int32_t kColorOne = 1 << kColorBits;
inline constexpr std::int32_t kBlueOfCb = 116130, kRedOfCr = 91881, kGreenOfCb = -22554, kGreenOfCr = -46802;

// The mean that such a block of a component comes to, in kMeanUnits: what becomes the colour's whole level when it is
// multiplied by the factor, which it was made of.
class CFlatMean {
 public:
  explicit CFlatMean(std::int32_t factor) noexcept
      : m_factor(factor), m_units(static_cast<std::int32_t>((std::int64_t{kMeanUnits} << 2 * kColorBits) / factor)) {}

  int operator()(int eighths) const noexcept {
    const int color = (FlatLevel(eighths) * m_factor + kColorHalf) >> kColorBits;
    return kMeanUnits * 128 + ((color * m_units + kColorHalf) >> kColorBits);
  }

 private:
  std::int32_t m_factor;
  std::int32_t m_units;  // kMeanUnits in a level of the colour, in parts of 65536
};

// Green is made of both Cb and Cr: what its whole level is more, in kMeanUnits, than what the means above come to.
class CFlatGreen {
 public:
  int operator()(int cbEighths, int crEighths) const noexcept {
    const int cb = FlatLevel(cbEighths), cr = FlatLevel(crEighths);
    const int level = (cb * kGreenOfCb + cr * kGreenOfCr + kColorHalf) >> kColorBits;
    const int blue = m_blue(cbEighths) - kMeanUnits * 128, red = m_red(crEighths) - kMeanUnits * 128;
    return kMeanUnits * level - ((blue * kGreenOfCb + red * kGreenOfCr + kColorHalf) >> kColorBits);
  }

 private:
  CFlatMean m_blue{kBlueOfCb}, m_red{kRedOfCr};
};

}  // namespace imageformats
