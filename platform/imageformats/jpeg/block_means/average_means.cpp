#include "platform/imageformats/jpeg/block_means/average_means.h"

#include <algorithm>

namespace imageformats {

namespace {

constexpr float kMeanScale = 1.0f / 8.0f;

SAveragedPicture AveragePlane(const SBlockMeansPlane& plane, SSize wanted, CRenderGuard& guard) {
  CAreaReducer reducer(plane.x, plane.y, wanted, 1, ESampleType::kU16, guard);
  AddMeans(plane, 0, 0, reducer);
  return reducer.Finish();
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
  const std::uint32_t step = plane.RowsAtOnce();
  std::vector<std::uint16_t> rows(std::size_t{plane.stride} * step);
  for (std::uint32_t row = 0; row < plane.y.pixels; row += step) {
    plane.FillRows(row, rows.data());
    reducer.AddBand(x, y + row, plane.x.pixels, std::min(step, plane.y.pixels - row), rows.data(),
                    std::size_t{plane.stride} * sizeof(std::uint16_t));
  }
}

SAveragedPicture AverageBlockMeans(const SBlockMeans& picture, SSize wanted, CRenderGuard& guard) {
  std::vector<SAveragedPicture> planes;
  for (const SBlockMeansPlane& plane : picture.planes) planes.push_back(AveragePlane(plane, wanted, guard));
  return JoinPlaneAverages(planes, picture.isYCbCr);
}

SAveragedPicture JoinPlaneAverages(const std::vector<SAveragedPicture>& planes, bool isYCbCr) {
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
