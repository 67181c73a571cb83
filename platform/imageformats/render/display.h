#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "picture/qvpicbuf.h"
#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/render/color_transform.h"
#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

// How averages of one picture (not a composite of channels) become visible.
struct SDisplaySettings {
  EColorModel model = EColorModel::kRgb;
  // The values of no and of full intensity (or ink) as stored. Lab: not used, samples come on the scale of EColorModel.
  SDisplayRange nominal;
  // Grey and RGB: stretch between the percentiles instead of showing `nominal` (more than 8 significant bits, floats).
  // Grey that would be nearly black is stretched whatever this says.
  bool stretch = false;
  // Grey: the lowest value is white (TIFF WhiteIsZero). RGB and CMYK: stored inverted.
  bool inverted = false;
  std::span<const std::uint8_t> profile;  // embedded ICC profile, may be empty
  EOrientation orientation = EOrientation::kTopLeft;
};

// Averages (at least ModelComponents(model) components per pixel; further ones are ignored) to the caller's picture:
// tone, colour, orientation, and enlargement where the picture is bigger than the averages.
void DisplayAverages(const SAveragedPicture& averages, const SDisplaySettings& how, SQvPicBuf& picture);

// Finished R G B bytes, tightly packed, in stored orientation, to the caller's picture: orientation and enlargement.
void OrientAndFitRgb(std::span<const std::uint8_t> rgb, SSize size, EOrientation orientation, SQvPicBuf& picture);

}  // namespace imageformats
