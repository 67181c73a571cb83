#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include "picture/qvpicbuf.h"
#include "platform/picture/picbuf_shape.h"
#include "platform/picture/stretch_axis.h"
#include "platform/picture/stretch_rows.h"
#include "system/qvstatus.h"

namespace {

struct SStretch {
  SQvPicBuf destination;  // shares the caller's pixels
  SQvPicBuf source;
  CStretchAxis horizontal;
  CStretchAxis vertical;

  SStretch(const SQvPicBuf& to, const SQvPicBuf& from, std::int32_t mode)
      : destination(to), source(from), horizontal(from.width, to.width, mode), vertical(from.height, to.height, mode) {}

  double Total() const { return static_cast<double>(horizontal.Total()) * static_cast<double>(vertical.Total()); }
  std::size_t SourceSamples() const { return std::size_t{source.width} * source.components; }
  std::size_t DestinationSamples() const { return std::size_t{destination.width} * destination.components; }
  const std::uint8_t* SourceRow(std::size_t y) const {
    return static_cast<const std::uint8_t*>(source.data) + y * source.widthBytes;
  }
  std::uint8_t* DestinationRow(std::size_t y) const {
    return static_cast<std::uint8_t*>(destination.data) + y * destination.widthBytes;
  }
};

// Fewer rows: rows are summed before columns, because adding whole rows is the fast direction and what is left for the
// columns is only as high as the destination.
template <class Sample, class Sum>
void StretchRowsFirst(const SStretch& job) {
  const std::unique_ptr<Sum[]> sums(new Sum[job.SourceSamples()]);
  const CWeightedMean mean(job.Total());
  for (std::size_t y = 0; y < job.destination.height; ++y) {
    SumRows<Sample, Sum>(sums.get(), job.SourceRow(0), job.source.widthBytes, job.SourceSamples(),
                         job.vertical.Taps()[y], job.vertical.InnerWeight());
    std::uint8_t* const row = job.DestinationRow(y);
    std::size_t i = 0;
    ForEachColumnOf(sums.get(), job.source.components, job.horizontal,
                    [&](double sum) { mean.Store<Sample>(row, i++, sum); });
  }
}

// The column sums of the two source rows used last: neighbouring destination rows of an enlargement share them.
template <class Sample>
class CColumnSums {
 public:
  explicit CColumnSums(const SStretch& job) : m_job(job), m_samples(new std::uint32_t[job.SourceSamples()]) {
    for (auto& sums : m_sums) sums.reset(new double[job.DestinationSamples()]);
  }

  const double* OfRow(std::size_t y) {
    double* const sums = m_sums[y % 2].get();
    if (m_rows[y % 2] == y) return sums;
    if (m_job.destination.width > m_job.source.width) {
      SumPairsOf(m_job.SourceRow(y), sums);
    } else {
      SetWeightedRow<Sample, std::uint32_t>(m_samples.get(), m_job.SourceRow(y), m_job.SourceSamples(), 1);
      std::size_t i = 0;
      ForEachColumnOf(m_samples.get(), m_job.source.components, m_job.horizontal, [&](double sum) { sums[i++] = sum; });
    }
    m_rows[y % 2] = y;
    return sums;
  }

 private:
  void SumPairsOf(const std::uint8_t* row, double* sums) const noexcept {
    const std::size_t components = m_job.source.components;
    if (components == 3) return SumPairs<3, Sample>(sums, row, components, m_job.horizontal);
    SumPairs<0, Sample>(sums, row, components, m_job.horizontal);
  }

  const SStretch& m_job;
  const std::unique_ptr<std::uint32_t[]> m_samples;
  std::unique_ptr<double[]> m_sums[2];
  std::size_t m_rows[2] = {SIZE_MAX, SIZE_MAX};
};

// More rows: every tap has one or two rows, whose columns are summed once.
template <class Sample>
void StretchColumnsFirst(const SStretch& job) {
  CColumnSums<Sample> columns(job);
  const std::size_t count = job.DestinationSamples();
  const CWeightedMean mean(job.Total());
  for (std::size_t y = 0; y < job.destination.height; ++y) {
    const SStretchTap& tap = job.vertical.Taps()[y];
    const double* const upper = columns.OfRow(tap.begin);
    const double* const lower = tap.count > 1 ? columns.OfRow(tap.begin + 1) : upper;
    std::uint8_t* const row = job.DestinationRow(y);
    mean.StoreRow<Sample>(row, upper, lower, tap.first, tap.last, count);
  }
}

template <class Sample>
void StretchSamples(const SStretch& job) {
  constexpr std::uint32_t kLargestTotal =
      std::numeric_limits<std::uint32_t>::max() / std::numeric_limits<Sample>::max();
  if (job.destination.height > job.source.height) {
    StretchColumnsFirst<Sample>(job);
  } else if (job.vertical.Total() <= kLargestTotal) {
    StretchRowsFirst<Sample, std::uint32_t>(job);
  } else {
    StretchRowsFirst<Sample, double>(job);
  }
}

bool IsKnownMode(std::int32_t mode) {
  return mode == CQvPicBufAPI_GeomTrans::kStretchNearest || mode == CQvPicBufAPI_GeomTrans::kStretchBilinear ||
         mode == CQvPicBufAPI_GeomTrans::kStretchArea;
}

}  // namespace

std::int32_t CQvPicBufAPI_GeomTrans::Stretch(SQvPicBuf* destination, const SQvPicBuf* source,
                                             std::int32_t mode) noexcept {
  if (destination == nullptr || source == nullptr || !IsKnownMode(mode)) return kQvFailure;
  if (!IsUsablePicture(*destination) || !IsUsablePicture(*source) || destination->data == source->data)
    return kQvFailure;
  if (destination->bpc != source->bpc || destination->components != source->components) return kQvFailure;
  try {
    const SStretch job(*destination, *source, mode);
    source->bpc == 8 ? StretchSamples<std::uint8_t>(job) : StretchSamples<std::uint16_t>(job);
  } catch (const std::bad_alloc&) {
    return kQvFailure;
  } catch (const std::length_error&) {
    return kQvFailure;
  }
  return kQvOk;
}
