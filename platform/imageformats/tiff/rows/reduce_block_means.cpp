#include "platform/imageformats/tiff/rows/reduce_block_means.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/work_ahead.h"
#include "platform/imageformats/jpeg/block_means/average_means.h"
#include "platform/imageformats/tiff/blocks/jpeg_streams.h"

namespace imageformats::tiff {
namespace {

// A component's place in the picture: its means are `pitch` units wide, of which a pixel has `scale`.
struct SMeansGrid {
  std::uint64_t pitchX = 0, pitchY = 0;
  std::uint64_t scaleX = 0, scaleY = 0;
};

bool HasBlockMeans(const SPage& page) noexcept {
  if (page.compression != COMPRESSION_JPEG || page.bits != 8 || (page.planar && page.samples > 1)) return false;
  switch (page.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
      return page.samples == 1;
    case PHOTOMETRIC_RGB:
    case PHOTOMETRIC_YCBCR:
      return page.samples == 3;
    default:
      return false;
  }
}

// The means of one stream after the other.
class CStreamMeans final : public IPieceWorker {
 public:
  // Of the selected directory.
  CStreamMeans(CTiffHandle& tiff, CRenderGuard& guard) : m_guard(guard), m_streams(tiff, guard) {
    if (!m_streams.Tables().empty()) m_tables = ReadTablesOnlyStream(m_streams.Tables());
  }
  CStreamMeans(std::unique_ptr<CTiffHandle> tiff, CRenderGuard& guard) : CStreamMeans(*tiff, guard) {
    m_tiffOfItsOwn = std::move(tiff);
  }

  bool HasTables() const noexcept { return m_streams.Tables().empty() || m_tables != nullptr; }
  void Do(std::uint64_t index) override {
    const std::span<const std::uint8_t> stream = m_streams.Read(static_cast<std::uint32_t>(index));
    const std::shared_ptr<const CInput> input = CInput::FromMemory(stream.data(), stream.size());
    const std::uint64_t before = m_guard.Available();
    m_picture = ReadBlockMeans(*input, {}, m_guard, m_tables.get());
    m_guard.Release(before - m_guard.Available());
  }
  // Of the last one; nothing when it is not for it.
  const std::optional<SBlockMeans>& Picture() const noexcept { return m_picture; }

 private:
  std::unique_ptr<CTiffHandle> m_tiffOfItsOwn;
  CRenderGuard& m_guard;
  CJpegStreams m_streams;
  std::shared_ptr<const SJpegFrame> m_tables;
  std::optional<SBlockMeans> m_picture;
};

class CPageMeansReader {
 public:
  CPageMeansReader(CTiffHandle& tiff, const SPage& page, SSize wanted, CRenderGuard& guard)
      : m_page(page),
        m_wanted(wanted),
        m_guard(guard),
        m_streams(tiff, guard),
        m_ahead(
            std::uint64_t{page.BlocksAcross()} * page.BlocksDown(), WorkerBytes(page),
            [input = tiff.SharedSource(), directory = page.offset](CRenderGuard& guardOfWorker) {
              auto handle = std::make_unique<CTiffHandle>(input);
              handle->Select(directory);
              return std::make_unique<CStreamMeans>(std::move(handle), guardOfWorker);
            },
            guard) {}

  bool Read() {
    if (!m_streams.HasTables()) return false;
    for (std::uint32_t row = 0, index = 0; row < m_page.BlocksDown(); ++row) {
      for (std::uint32_t column = 0; column < m_page.BlocksAcross(); ++column, ++index) {
        m_guard.CheckTime();
        if (!AddBlock(index, column, row)) return false;
      }
    }
    return true;
  }

  SAveragedPicture Finish() {
    std::vector<SAveragedPicture> planes;
    for (CAreaReducer& reducer : m_reducers) planes.push_back(reducer.Finish());
    return JoinPlaneAverages(planes, m_page.photometric == PHOTOMETRIC_YCBCR);
  }

 private:
  // Of a handle; and of a stream, as long as its pixels at most, and its means.
  static std::uint64_t WorkerBytes(const SPage& page) noexcept {
    constexpr std::uint64_t kBytesOfStreamHandle = 256 << 10;
    return kBytesOfStreamHandle +
           CRenderGuard::Multiply(std::uint64_t{page.blockWidth} * page.blockHeight, 2 * page.samples);
  }

  // A helper has less memory: what is not for it may still be for the owner.
  const std::optional<SBlockMeans>& MeansOf(std::uint32_t index) {
    const auto* worker = static_cast<const CStreamMeans*>(m_ahead.Take(index));
    if (worker != nullptr && worker->Picture()) return worker->Picture();
    try {
      m_streams.Do(index);
    } catch (const CFormatError&) {
      if (!m_ahead.Stop()) throw;
      m_streams.Do(index);
    }
    return m_streams.Picture();
  }

  bool AddBlock(std::uint32_t index, std::uint32_t column, std::uint32_t row) {
    const std::optional<SBlockMeans>& picture = MeansOf(index);
    if (!picture || picture->planes.size() != m_page.samples) return false;
    if (m_grids.empty() && !MakeMeansGrids(*picture, column, row)) return false;
    for (std::size_t k = 0; k < m_grids.size(); ++k) {
      if (!AddPlane(k, picture->planes[k], column, row)) return false;
    }
    return true;
  }

  // The first stream tells how the components are sampled. Only streams of the blocks' full size are taken.
  bool MakeMeansGrids(const SBlockMeans& picture, std::uint32_t column, std::uint32_t row) {
    const std::uint32_t width = m_page.UsedBlockWidth(column), height = m_page.UsedBlockHeight(row);
    for (const SBlockMeansPlane& plane : picture.planes) {
      SMeansGrid grid;
      grid.pitchX = plane.x.pitch;
      grid.pitchY = plane.y.pitch;
      grid.scaleX = plane.x.extent / (m_page.tiled ? m_page.blockWidth : width);
      grid.scaleY = plane.y.extent / (m_page.tiled ? m_page.blockHeight : height);
      if (grid.scaleX == 0 || grid.scaleY == 0 || !IsFineEnough(grid) || !IsAligned(grid)) return false;
      m_grids.push_back(grid);
      const SSourceAxis x = Axis(m_page.width, grid.pitchX, grid.scaleX);
      const SSourceAxis y = Axis(m_page.height, grid.pitchY, grid.scaleY);
      m_reducers.emplace_back(x, y, m_wanted, 1, ESampleType::kU16, m_guard);
    }
    return true;
  }

  // Means must be at least twice as fine as the result, or what is seen depends on how they lie.
  bool IsFineEnough(const SMeansGrid& grid) const noexcept {
    return m_page.width * grid.scaleX / grid.pitchX >= 2 * std::uint64_t{m_wanted.width} &&
           m_page.height * grid.scaleY / grid.pitchY >= 2 * std::uint64_t{m_wanted.height};
  }

  // Where there are several blocks, each must begin with a mean of its own.
  bool IsAligned(const SMeansGrid& grid) const noexcept {
    return (m_page.BlocksAcross() == 1 || m_page.blockWidth * grid.scaleX % grid.pitchX == 0) &&
           (m_page.BlocksDown() == 1 || m_page.blockHeight * grid.scaleY % grid.pitchY == 0);
  }

  bool AddPlane(std::size_t k, const SBlockMeansPlane& plane, std::uint32_t column, std::uint32_t row) {
    const SMeansGrid& grid = m_grids[k];
    const std::uint64_t width = m_page.UsedBlockWidth(column) * grid.scaleX,
                        height = m_page.UsedBlockHeight(row) * grid.scaleY;
    const std::uint64_t fullWidth = m_page.blockWidth * grid.scaleX, fullHeight = m_page.blockHeight * grid.scaleY;
    if (plane.x.pitch != grid.pitchX || plane.y.pitch != grid.pitchY || plane.x.extent < width ||
        plane.x.extent > fullWidth || plane.y.extent < height || plane.y.extent > fullHeight) {
      return false;
    }
    const auto x = static_cast<std::uint32_t>(column * fullWidth / grid.pitchX);
    const auto y = static_cast<std::uint32_t>(row * fullHeight / grid.pitchY);
    AddMeans(plane, x, y, m_reducers[k]);
    return true;
  }

  static SSourceAxis Axis(std::uint32_t side, std::uint64_t pitch, std::uint64_t scale) noexcept {
    const std::uint64_t extent = side * scale;
    return {static_cast<std::uint32_t>((extent + pitch - 1) / pitch), pitch, extent};
  }

  const SPage& m_page;
  const SSize m_wanted;
  CRenderGuard& m_guard;
  CStreamMeans m_streams;
  std::vector<SMeansGrid> m_grids;
  std::vector<CAreaReducer> m_reducers;
  CWorkAhead m_ahead;
};

}  // namespace

std::optional<SAveragedPicture> ReduceByBlockMeans(CTiffHandle& tiff, const SPage& page, SSize displayed,
                                                   CRenderGuard& guard) {
  if (!HasBlockMeans(page)) return std::nullopt;
  const SSize wanted = ReducedSize(page.Size(), displayed, page.orientation);
  constexpr std::uint64_t kFinest = 16;  // two blocks for each pixel of the result
  if (page.width < kFinest * wanted.width || page.height < kFinest * wanted.height) return std::nullopt;
  guard.CheckPixels(page.width, page.height);
  tiff.Select(page.offset);
  CPageMeansReader reader(tiff, page, wanted, guard);
  if (!reader.Read()) return std::nullopt;
  return reader.Finish();
}

}  // namespace imageformats::tiff
