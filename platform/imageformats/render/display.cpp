#include "platform/imageformats/render/display.h"

#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/new_picture.h"
#include "platform/imageformats/base/wide_vectors.h"

namespace imageformats {

namespace {

SDisplayRange RangeFor(const SAveragedPicture& averages, const SDisplaySettings& how) {
  const bool stretchable = how.model == EColorModel::kGrey || how.model == EColorModel::kRgb;
  const bool isDark = how.model == EColorModel::kGrey && averages.components == 1 && !how.inverted &&
                      IsNearlyBlack(averages.samples, how.nominal);
  if (!stretchable || (!how.stretch && !isDark)) return how.nominal;
  return PercentileRange(averages, ModelComponents(how.model), how.nominal);
}

// A sample's tone; black for one that is no number.
class CTone {
 public:
  CTone(const SDisplayRange& range, std::uint8_t flip) noexcept
      : m_low(static_cast<float>(range.low)),
        m_scale(static_cast<float>(255.0 / (range.high - range.low))),
        m_flip(flip) {}

  std::uint8_t operator()(float value) const noexcept { return static_cast<std::uint8_t>(Of(value)); }
  // Loops without a branch, which compilers turn into vector code: of one width each.
  void Row(const float* __restrict in, std::size_t samples, std::uint8_t* __restrict out) const noexcept {
    constexpr std::size_t kBlock = 64;
    int tones[kBlock];
    for (; samples >= kBlock; samples -= kBlock, in += kBlock, out += kBlock) {
      for (std::size_t i = 0; i < kBlock; ++i) tones[i] = Of(in[i]);
      for (std::size_t i = 0; i < kBlock; ++i) out[i] = static_cast<std::uint8_t>(tones[i]);
    }
    for (std::size_t i = 0; i < samples; ++i) out[i] = (*this)(in[i]);
  }

 private:
  int Of(float value) const noexcept {
    float v = (value - m_low) * m_scale;
    v = v > 0.0f ? v : 0.0f;
    v = v < 255.0f ? v : 255.0f;
    return static_cast<int>(v + 0.5f) ^ m_flip;
  }

  float m_low, m_scale;
  int m_flip;
};

// Tone alone: grey and RGB that need no colour conversion.
void ToneRow(const float* in, std::size_t pixels, std::uint32_t step, bool grey, const CTone& tone, std::uint8_t* out) {
  if (step == 3 && !grey) return tone.Row(in, pixels * 3, out);
  if (step == 1 && grey) {
    // In the last third, which is overwritten no sooner than it has been read.
    std::uint8_t* const tones = out + pixels * 2;
    tone.Row(in, pixels, tones);
    for (std::size_t i = 0; i < pixels; ++i, out += 3) out[0] = out[1] = out[2] = tones[i];
    return;
  }
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
  const CTone tone(range, how.inverted ? std::uint8_t{255} : std::uint8_t{0});
  const std::size_t pixels = averages.size.width;
  // Rows that stay rows are written where they are shown.
  const bool fits = DisplayedSize(averages.size, how.orientation) == SSize{picture.width, picture.height};
  const COrientedPlacement placement(averages.size, how.orientation, 3, picture.data, picture.widthBytes);
  const bool isDirect = fits && placement.DirectRow(0) != nullptr;
  std::vector<std::uint8_t> rgb(isDirect ? 0 : pixels * averages.size.height * 3);
  std::vector<float> row(transform.IsIdentity() ? 0 : pixels * ModelComponents(how.model));
  for (std::uint32_t y = 0; y < averages.size.height; ++y) {
    const float* in = averages.samples.data() + y * pixels * averages.components;
    std::uint8_t* out = isDirect ? static_cast<std::uint8_t*>(placement.DirectRow(y)) : rgb.data() + y * pixels * 3;
    if (transform.IsIdentity()) {
      const bool grey = how.model == EColorModel::kGrey;
      RunVectorLoop([&] { ToneRow(in, pixels, averages.components, grey, tone, out); });
    } else {
      NormaliseRow(in, pixels, averages.components, how, range, row.data());
      transform.Convert(row.data(), pixels, out);
    }
  }
  if (!isDirect) OrientAndFitRgb(rgb, averages.size, how.orientation, picture);
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
