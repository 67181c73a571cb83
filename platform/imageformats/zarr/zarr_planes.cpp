#include "platform/imageformats/zarr/zarr_planes.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/nearest_sampler.h"

namespace imageformats::zarr {

namespace {

constexpr std::uint64_t kMostChunksOfPlane = 100'000;
// Rows of a chunk that are cut out at a time.
constexpr std::uint64_t kBandSamples = 1u << 18;

template <class T>
void FillAll(void* out, std::size_t count, double value) noexcept {
  const auto low = static_cast<double>(std::numeric_limits<T>::lowest());
  const auto high = static_cast<double>(std::numeric_limits<T>::max());
  T sample{};
  if constexpr (std::numeric_limits<T>::is_integer) {
    if (value >= high)
      sample = std::numeric_limits<T>::max();
    else if (value > low)
      sample = static_cast<T>(value);
    else if (value <= low)
      sample = std::numeric_limits<T>::lowest();
  } else {
    sample = static_cast<T>(value);
  }
  std::fill_n(static_cast<T*>(out), count, sample);
}

void FillWith(ESampleType type, double value, std::size_t count, void* out) noexcept {
  switch (type) {
    case ESampleType::kU8:
      return FillAll<std::uint8_t>(out, count, value);
    case ESampleType::kU16:
      return FillAll<std::uint16_t>(out, count, value);
    case ESampleType::kU32:
      return FillAll<std::uint32_t>(out, count, value);
    case ESampleType::kU64:
      return FillAll<std::uint64_t>(out, count, value);
    case ESampleType::kI8:
      return FillAll<std::int8_t>(out, count, value);
    case ESampleType::kI16:
      return FillAll<std::int16_t>(out, count, value);
    case ESampleType::kI32:
      return FillAll<std::int32_t>(out, count, value);
    case ESampleType::kI64:
      return FillAll<std::int64_t>(out, count, value);
    case ESampleType::kF32:
      return FillAll<float>(out, count, value);
    case ESampleType::kF64:
      return FillAll<double>(out, count, value);
  }
}

// The step of a level with fewer steps than the full resolution that lies where the step of that one does.
std::uint64_t StepInLevel(std::uint32_t step, std::uint32_t full, std::uint32_t level) noexcept {
  const std::uint64_t scaled = (2 * std::uint64_t{step} + 1) * level / (2 * std::uint64_t{full});
  return std::min<std::uint64_t>(scaled, level - 1);
}

}  // namespace

// One plane of one level, cut out of its chunks.
class CZarrPlanes::CPlaneCut {
 public:
  // `at`: the plane's place along each axis; along x and y it says nothing.
  CPlaneCut(const SArrayLayout& layout, std::size_t axisX, std::size_t axisY, std::vector<std::uint64_t> at,
            CRenderGuard& guard)
      : m_layout(layout),
        m_x(axisX),
        m_y(axisY),
        m_type(LoadedType(layout.samples)),
        m_bandRows(std::max<std::uint64_t>(1, kBandSamples / layout.chunk[axisX])),
        m_origin(0) {
    m_bandRows = std::min(m_bandRows, layout.chunk[axisY]);
    const std::uint64_t band = CRenderGuard::Multiply(layout.chunk[axisX], m_bandRows);
    m_stored = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(band, layout.samples.bytes));
    // In 8 bytes, for alignment.
    m_loaded = guard.NewVector<std::uint64_t>(CRenderGuard::Multiply(band, SampleBytes(m_type)) / 8 + 1);
    for (std::size_t i = 0; i < at.size(); ++i) {
      if (i != m_x && i != m_y) m_origin += at[i] % layout.chunk[i] * layout.strides[i];
    }
  }

  // `bytes` null: the chunk is missing.
  void Take(std::uint64_t chunkX, std::uint64_t chunkY, const std::vector<std::uint8_t>* bytes, const CTakeBand& take) {
    const std::uint64_t left = chunkX * m_layout.chunk[m_x], top = chunkY * m_layout.chunk[m_y];
    const std::uint64_t width = std::min(m_layout.chunk[m_x], m_layout.shape[m_x] - left);
    const std::uint64_t height = std::min(m_layout.chunk[m_y], m_layout.shape[m_y] - top);
    for (std::uint64_t row = 0; row < height; row += m_bandRows) {
      const std::uint64_t rows = std::min(m_bandRows, height - row);
      const auto count = static_cast<std::size_t>(width * rows);
      if (bytes != nullptr) {
        Load(*bytes, row, rows, width);
      } else {
        FillWith(m_type, m_layout.fill, count, m_loaded.data());
      }
      take(static_cast<std::uint32_t>(left), static_cast<std::uint32_t>(top + row),
           {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(rows)}, m_loaded.data());
    }
  }

 private:
  void Load(const std::vector<std::uint8_t>& bytes, std::uint64_t row, std::uint64_t rows, std::uint64_t width) {
    const std::size_t size = m_layout.samples.bytes;
    const std::uint64_t strideX = m_layout.strides[m_x], strideY = m_layout.strides[m_y];
    for (std::uint64_t y = 0; y < rows; ++y) {
      const std::uint8_t* from = bytes.data() + (m_origin + (row + y) * strideY) * size;
      std::uint8_t* to = m_stored.data() + y * width * size;
      if (strideX == 1) {
        std::memcpy(to, from, static_cast<std::size_t>(width) * size);
        continue;
      }
      for (std::uint64_t x = 0; x < width; ++x) std::memcpy(to + x * size, from + x * strideX * size, size);
    }
    LoadSamples(m_layout.samples, m_stored.data(), static_cast<std::size_t>(rows * width), m_loaded.data());
  }

  const SArrayLayout& m_layout;
  const std::size_t m_x, m_y;
  const ESampleType m_type;
  std::uint64_t m_bandRows;
  std::uint64_t m_origin;  // of the plane in its chunks, in samples
  std::vector<std::uint8_t> m_stored;
  std::vector<std::uint64_t> m_loaded;
};

CZarrPlanes::CZarrPlanes(IStore& store, const SMultiscale& picture)
    : m_store(store), m_picture(picture), m_readers(picture.levels.size()) {}

std::size_t CZarrPlanes::LevelFor(SSize reduced) const noexcept {
  std::size_t best = 0;
  std::uint64_t fewest = std::numeric_limits<std::uint64_t>::max();
  for (std::size_t i = 0; i < m_picture.levels.size(); ++i) {
    const std::uint64_t width = m_picture.Size(m_picture.levels[i], EAxis::kX);
    const std::uint64_t height = m_picture.Size(m_picture.levels[i], EAxis::kY);
    if (width < reduced.width || height < reduced.height || width * height >= fewest) continue;
    best = i;
    fewest = width * height;
  }
  return best;
}

void CZarrPlanes::ReadPlane(std::size_t level, const SPlaneIndex& plane, const CTakeBand& take, CRenderGuard& guard) {
  const SLevel& full = m_picture.levels.front();
  const SLevel& described = m_picture.levels[level];
  if (!m_readers[level]) m_readers[level] = std::make_unique<CChunkReader>(m_store, described.key, described.layout);
  const SArrayLayout& layout = m_readers[level]->Layout();
  std::vector<std::uint64_t> at(layout.shape.size(), 0);
  const auto place = [&](EAxis kind, std::uint32_t step) {
    const auto axis = m_picture.Axis(kind);
    if (axis) at[*axis] = StepInLevel(step, m_picture.Size(full, kind), m_picture.Size(described, kind));
  };
  place(EAxis::kChannel, plane.channel);
  place(EAxis::kZ, plane.z);
  place(EAxis::kTime, plane.t);
  const std::size_t axisX = *m_picture.Axis(EAxis::kX), axisY = *m_picture.Axis(EAxis::kY);
  const std::uint64_t across = (layout.shape[axisX] - 1) / layout.chunk[axisX] + 1;
  const std::uint64_t down = (layout.shape[axisY] - 1) / layout.chunk[axisY] + 1;
  Require(CRenderGuard::Multiply(across, down) <= kMostChunksOfPlane, "The picture has too many chunks to be shown");
  std::vector<std::uint64_t> numbers(at.size());
  for (std::size_t i = 0; i < at.size(); ++i) numbers[i] = at[i] / layout.chunk[i];
  CPlaneCut cut(layout, axisX, axisY, std::move(at), guard);
  for (numbers[axisX] = 0; numbers[axisX] < across; ++numbers[axisX]) {
    for (numbers[axisY] = 0; numbers[axisY] < down; ++numbers[axisY]) {
      cut.Take(numbers[axisX], numbers[axisY], m_readers[level]->Read(numbers, guard), take);
    }
  }
}

SSize CZarrPlanes::LevelSize(std::size_t level) const noexcept {
  return {m_picture.Size(m_picture.levels[level], EAxis::kX), m_picture.Size(m_picture.levels[level], EAxis::kY)};
}

SAveragedPicture CZarrPlanes::Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) {
  const std::size_t level = LevelFor(reduced);
  const SSize size = LevelSize(level);
  guard.CheckPixels(size.width, size.height);
  const ESampleType type = LoadedType(m_picture.levels[level].layout.samples);
  CAreaReducer reducer(size, reduced, 1, type, guard);
  const auto take = [&](std::uint32_t x, std::uint32_t y, SSize band, const void* samples) {
    guard.CheckTime();
    reducer.AddBand(x, y, band.width, band.height, samples, band.width * SampleBytes(type));
  };
  ReadPlane(level, plane, take, guard);
  return reducer.Finish();
}

SAveragedPicture CZarrPlanes::Sample(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) {
  const std::size_t level = LevelFor(reduced);
  const SSize size = LevelSize(level);
  guard.CheckPixels(size.width, size.height);
  const ESampleType type = LoadedType(m_picture.levels[level].layout.samples);
  CNearestSampler sampler(size, reduced, type, guard);
  const auto take = [&](std::uint32_t x, std::uint32_t y, SSize band, const void* samples) {
    guard.CheckTime();
    const std::size_t bytes = SampleBytes(type);
    sampler.AddBand(x, y, band.width, band.height, samples, band.width * bytes, bytes);
  };
  ReadPlane(level, plane, take, guard);
  return sampler.Finish();
}

void CZarrPlanes::ReadFull(const SPlaneIndex& plane, const CTakeBand& take, CRenderGuard& guard) {
  ReadPlane(0, plane, take, guard);
}

}  // namespace imageformats::zarr
