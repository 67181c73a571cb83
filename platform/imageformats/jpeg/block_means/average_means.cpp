#include "platform/imageformats/jpeg/block_means/average_means.h"

#include <algorithm>

#include "platform/imageformats/jpeg/block_means/flat_means.h"

namespace imageformats {

namespace {

SAveragedPicture AveragePlane(const SBlockMeansPlane& plane, SSize wanted, CRenderGuard& guard) {
  CAreaReducer reducer(plane.x, plane.y, wanted, 1, ESampleType::kU16, guard);
  AddMeans(plane, 0, 0, reducer);
  SAveragedPicture averages = reducer.Finish();
  constexpr float kUnitsOfEighth = kMeanUnits / 8.0f;
  for (std::size_t i = 0; i < plane.details.size(); ++i) averages.samples[i] += kUnitsOfEighth * plane.details[i];
  return averages;
}

// Of a row of blocks of Cb and Cr, as FillRow.
void FillGreenRow(const SBlockMeansPlane& cb, const SBlockMeansPlane& cr, std::uint32_t row, std::int16_t* out) {
  const CFlatGreen flatGreen;
  const std::size_t begin = std::size_t{row} * cb.stride;
  for (std::size_t i = 0; i < cb.stride; ++i, out += cb.times) {
    const int blue = MeanInEighths(cb.dcCoefficients[begin + i], cb.quantiser);
    const int red = MeanInEighths(cr.dcCoefficients[begin + i], cr.quantiser);
    const bool isUneven = (cb.hasAc[begin + i] | cr.hasAc[begin + i]) != 0;
    std::fill_n(out, cb.times, static_cast<std::int16_t>(isUneven ? 0 : flatGreen(blue, red)));
  }
}

// Adds to the averages what green gains because even areas are of whole levels.
void RoundGreen(const SBlockMeans& picture, CRenderGuard& guard, SAveragedPicture& averages) {
  if (!picture.roundsGreen || picture.planes[1].hasAc.empty() || picture.planes[2].hasAc.empty()) return;
  const SBlockMeansPlane &cb = picture.planes[1], &cr = picture.planes[2];
  if (cb.stride != cr.stride || cb.times != cr.times || cb.y.pixels != cr.y.pixels) return;
  CAreaReducer reducer(cb.x, cb.y, averages.size, 1, ESampleType::kI16, guard);
  std::vector<std::int16_t> rows(std::size_t{cb.stride} * cb.times);
  for (std::uint32_t row = 0; row < cb.y.pixels; ++row) {
    if (row % cb.times == 0) FillGreenRow(cb, cr, row / cb.times, rows.data());
    reducer.AddBand(0, row, cb.x.pixels, 1, rows.data(), rows.size() * sizeof(std::int16_t));
  }
  const SAveragedPicture gains = reducer.Finish();
  for (std::size_t i = 0; i < gains.samples.size(); ++i) averages.samples[3 * i + 1] += gains.samples[i] / kMeanUnits;
}

// JFIF 1.02 (ITU-R BT.601, full range).
void ConvertYCbCr(std::vector<float>& samples) {
  for (std::size_t i = 0; i + 2 < samples.size(); i += 3) {
    const float y = samples[i], cb = samples[i + 1] - 128.0f, cr = samples[i + 2] - 128.0f;
    samples[i] = y + 1.402f * cr;
    samples[i + 1] = y - 0.344136f * cb - 0.714136f * cr;
    samples[i + 2] = y + 1.772f * cb;
  }
}

}  // namespace

void AddMeans(const SBlockMeansPlane& plane, std::uint32_t x, std::uint32_t y, CAreaReducer& reducer) {
  std::vector<std::uint16_t> rows(std::size_t{plane.stride} * plane.times);
  for (std::uint32_t row = 0; row < plane.y.pixels; ++row) {
    if (row % plane.times == 0) plane.FillRow(row / plane.times, rows.data());
    reducer.AddBand(x, y + row, plane.x.pixels, 1, rows.data(), rows.size() * sizeof(std::uint16_t));
  }
}

SAveragedPicture AverageBlockMeans(const SBlockMeans& picture, SSize wanted, CRenderGuard& guard) {
  std::vector<SAveragedPicture> planes;
  for (const SBlockMeansPlane& plane : picture.planes) planes.push_back(AveragePlane(plane, wanted, guard));
  SAveragedPicture averages = JoinPlaneAverages(planes, picture.isYCbCr);
  RoundGreen(picture, guard, averages);
  return averages;
}

SAveragedPicture JoinPlaneAverages(const std::vector<SAveragedPicture>& planes, bool isYCbCr) {
  constexpr float kMeanScale = 1.0f / kMeanUnits;
  const std::size_t components = planes.size();
  SAveragedPicture averages{planes.front().size, static_cast<std::uint32_t>(components), {}};
  averages.samples.resize(planes.front().samples.size() * components);
  for (std::size_t k = 0; k < components; ++k) {
    for (std::size_t i = 0; i < planes[k].samples.size(); ++i) {
      averages.samples[i * components + k] = planes[k].samples[i] * kMeanScale;
    }
  }
  if (isYCbCr) ConvertYCbCr(averages.samples);
  return averages;
}

}  // namespace imageformats
