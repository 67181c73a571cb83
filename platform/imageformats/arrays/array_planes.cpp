#include "platform/imageformats/arrays/array_planes.h"

#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/planes/picture_samples.h"
#include "platform/imageformats/render/nearest_sampler.h"

namespace imageformats {

namespace {

using SBand = CArrayRows::SBand;

// Gives back what was reserved since it was made, when the memory is gone as well.
class CReservation {
 public:
  explicit CReservation(CRenderGuard& guard) : m_guard(guard), m_available(guard.Available()) {}
  ~CReservation() { m_guard.Release(m_available - m_guard.Available()); }
  CReservation(const CReservation&) = delete;
  CReservation& operator=(const CReservation&) = delete;

 private:
  CRenderGuard& m_guard;
  const std::uint64_t m_available;
};

bool IsFloat(ESampleType type) noexcept { return type == ESampleType::kF32 || type == ESampleType::kF64; }

// Copies samples to the pixels of a picture's row, one component of it or all.
template <class T>
void PlaceSamples(const void* samples, std::size_t count, std::size_t step, std::uint8_t* row) {
  const auto* from = static_cast<const T*>(samples);
  auto* to = reinterpret_cast<T*>(row);
  for (std::size_t i = 0; i < count; ++i, to += step) *to = from[i];
}

SDisplayRange ExtremesOf(CArrayRows& rows, const SArrayLayout& layout, std::uint64_t offset) {
  CSampleExtremes extremes;
  const std::uint32_t passes = layout.IsPlanar() ? layout.components : 1;
  for (std::uint32_t k = 0; k < passes; ++k) {
    rows.ForEachBand(offset + k * layout.component, [&](const SBand& band) {
      for (std::uint32_t i = 0; i < band.count; ++i) {
        extremes.Include(rows.Type(), band.rows + i * band.stride, std::size_t{layout.size.width} * rows.Components());
      }
    });
  }
  return extremes.Range();
}

}  // namespace

SAveragedPicture CArrayPlanes::AverageAt(std::uint64_t offset, SSize reduced, CRenderGuard& guard) {
  const CReservation reservation(guard);
  CAreaReducer reducer(m_layout.size, reduced, m_rows.Components(), m_rows.Type(), guard);
  m_rows.ForEachBand(offset, [&](const SBand& band) {
    reducer.AddBand(0, band.y, m_layout.size.width, band.count, band.rows, band.stride);
  });
  return reducer.Finish();
}

SAveragedPicture CArrayPlanes::AveragePlanar(std::uint64_t offset, SSize reduced, CRenderGuard& guard) {
  const std::uint32_t components = m_layout.components;
  SAveragedPicture averages{reduced, components, {}};
  averages.samples.resize(std::size_t{reduced.width} * reduced.height * components);
  for (std::uint32_t k = 0; k < components; ++k) {
    const SAveragedPicture one = AverageAt(offset + k * m_layout.component, reduced, guard);
    for (std::size_t i = 0; i < one.samples.size(); ++i) averages.samples[i * components + k] = one.samples[i];
  }
  return averages;
}

SAveragedPicture CArrayPlanes::Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) {
  const std::uint64_t offset = m_layout.OffsetOf(plane);
  return Scaled(m_layout.IsPlanar() ? AveragePlanar(offset, reduced, guard) : AverageAt(offset, reduced, guard));
}

SAveragedPicture CArrayPlanes::Sample(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) {
  if (m_layout.components > 1) return Average(plane, reduced, guard);
  const CReservation reservation(guard);
  CNearestSampler sampler(m_layout.size, reduced, m_rows.Type(), guard);
  m_rows.ForEachBand(m_layout.OffsetOf(plane), [&](const SBand& band) {
    sampler.AddBand(0, band.y, m_layout.size.width, band.count, band.rows, band.stride, SampleBytes(m_rows.Type()));
  });
  return Scaled(sampler.Finish());
}

SAveragedPicture CArrayPlanes::Scaled(SAveragedPicture picture) const {
  if (m_layout.slope == 1.0 && m_layout.intercept == 0.0) return picture;
  for (float& v : picture.samples) {
    v = static_cast<float>(static_cast<double>(v) * m_layout.slope + m_layout.intercept);
  }
  return picture;
}

void ReadArrayPlane(const SArrayLayout& layout, IArrayBytes& bytes, const SPlaneIndex& plane, EOrientation orientation,
                    SQvPicBuf& picture, CRenderGuard& guard) {
  CArrayRows rows(layout, bytes, guard);
  const std::uint64_t offset = layout.OffsetOf(plane);
  const SDisplayRange range = IsFloat(rows.Type()) ? ExtremesOf(rows, layout, offset) : SDisplayRange();
  guard.Reserve(CRenderGuard::Multiply(layout.size.width, rows.Components() * sizeof(std::uint16_t)));
  CPictureSamples samples(rows.Type(), layout.samples.bytes * 8, range);
  Require(picture.components == layout.components && picture.bpc == CPictureSamples::BitsFor(rows.Type()),
          "The picture has another shape");
  const COrientedPlacement placement(layout.size, orientation, picture.components * picture.bpc / 8, picture.data,
                                     picture.widthBytes);
  const std::size_t count = std::size_t{layout.size.width} * rows.Components();
  const std::uint32_t step = layout.components / rows.Components();
  for (std::uint32_t k = 0; k < step; ++k) {
    rows.ForEachBand(offset + k * layout.component, [&](const SBand& band) {
      for (std::uint32_t i = 0; i < band.count; ++i) {
        const void* converted = samples.Convert(band.rows + i * band.stride, count);
        auto* row = static_cast<std::uint8_t*>(placement.DirectRow(band.y + i)) + k * (picture.bpc / 8);
        picture.bpc == 8 ? PlaceSamples<std::uint8_t>(converted, count, step, row)
                         : PlaceSamples<std::uint16_t>(converted, count, step, row);
      }
    });
  }
}

}  // namespace imageformats
