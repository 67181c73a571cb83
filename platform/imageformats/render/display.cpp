#include "platform/imageformats/render/display.h"

#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"

namespace imageformats {

namespace {

SDisplayRange RangeFor(const SAveragedPicture& averages, const SDisplaySettings& how) {
  const bool stretchable = how.model == EColorModel::kGrey || how.model == EColorModel::kRgb;
  const bool isDark = how.model == EColorModel::kGrey && averages.components == 1 && !how.inverted &&
                      IsNearlyBlack(averages.samples, how.nominal);
  if (!stretchable || (!how.stretch && !isDark)) return how.nominal;
  return PercentileRange(averages, ModelComponents(how.model), how.nominal);
}

// Tone alone: grey and RGB that need no colour conversion.
void ToneRow(const float* in, std::size_t pixels, std::uint32_t step, bool grey, const SDisplayRange& range,
             std::uint8_t flip, std::uint8_t* out) {
  const auto scale = static_cast<float>(255.0 / (range.high - range.low));
  const auto low = static_cast<float>(range.low);
  const auto tone = [=](float value) {
    const float v = (value - low) * scale;
    return static_cast<std::uint8_t>((v > 0.0f ? static_cast<std::uint8_t>((v < 255.0f ? v : 255.0f) + 0.5f) : 0) ^
                                     flip);
  };
  for (std::size_t i = 0; i < pixels; ++i, in += step, out += 3) {
    out[0] = tone(in[0]);
    out[1] = grey ? out[0] : tone(in[1]);
    out[2] = grey ? out[0] : tone(in[2]);
  }
}

void NormaliseRow(const float* in, std::size_t pixels, std::uint32_t step, const SDisplaySettings& how,
                  const SDisplayRange& range, float* out) {
  const std::uint32_t components = ModelComponents(how.model);
  for (std::size_t i = 0; i < pixels; ++i, in += step) {
    for (std::uint32_t k = 0; k < components; ++k) {
      const float v = how.model == EColorModel::kLab ? in[k] : Normalised(in[k], range);
      *out++ = how.inverted && how.model != EColorModel::kLab ? 1.0f - v : v;
    }
  }
}

}  // namespace

void DisplayAverages(const SAveragedPicture& averages, const SDisplaySettings& how, SQvPicBuf& picture) {
  if (averages.components < ModelComponents(how.model)) throw CDamagedError("The picture lacks colour components");
  const SDisplayRange range = RangeFor(averages, how);
  CColorTransform transform(how.model, how.profile);
  const std::size_t pixels = averages.size.width;
  std::vector<std::uint8_t> rgb(pixels * averages.size.height * 3);
  std::vector<float> row(transform.IsIdentity() ? 0 : pixels * ModelComponents(how.model));
  for (std::size_t y = 0; y < averages.size.height; ++y) {
    const float* in = averages.samples.data() + y * pixels * averages.components;
    std::uint8_t* out = rgb.data() + y * pixels * 3;
    if (transform.IsIdentity()) {
      ToneRow(in, pixels, averages.components, how.model == EColorModel::kGrey, range,
              how.inverted ? std::uint8_t{255} : std::uint8_t{0}, out);
    } else {
      NormaliseRow(in, pixels, averages.components, how, range, row.data());
      transform.Convert(row.data(), pixels, out);
    }
  }
  OrientAndFitRgb(rgb, averages.size, how.orientation, picture);
}

void OrientAndFitRgb(std::span<const std::uint8_t> rgb, SSize size, EOrientation orientation, SQvPicBuf& picture) {
  const SSize shown = DisplayedSize(size, orientation);
  const auto place = [&](SQvPicBuf& to) {
    const COrientedPlacement placement(size, orientation, 3, to.data, to.widthBytes);
    for (std::uint32_t y = 0; y < size.height; ++y) {
      placement.PlaceRow(y, rgb.data() + std::size_t{y} * size.width * 3);
    }
  };
  if (shown == SSize{picture.width, picture.height}) return place(picture);
  CQvPicture small = NewPicture(shown.width, shown.height, 8, 3);
  place(*small.Get());
  if (CQvPicBufAPI_GeomTrans::Stretch(&picture, small.Get(), CQvPicBufAPI_GeomTrans::kStretchArea) != 0) {
    throw CDamagedError("The picture cannot be brought to the wanted size");
  }
}

}  // namespace imageformats
