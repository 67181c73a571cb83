#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "platform/imageformats/planes/plane_stack.h"
#include "platform/imageformats/zarr/array/chunk_reader.h"
#include "platform/imageformats/zarr/ngff/multiscale.h"

namespace imageformats::zarr {

// Takes one chunk's part of a plane: its place, its size, and its samples as LoadedType has them, rows without gaps.
using CTakeBand = std::function<void(std::uint32_t x, std::uint32_t y, SSize size, const void* samples)>;

// The planes of one picture, from the level that suits the wanted size. One rendering's; picture and store outlive it.
class CZarrPlanes final : public IPlaneReader {
 public:
  CZarrPlanes(IStore& store, const SMultiscale& picture);

  SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override;
  SAveragedPicture Sample(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override;

  // All of a plane of level 0, chunk by chunk.
  void ReadFull(const SPlaneIndex& plane, const CTakeBand& take, CRenderGuard& guard);

 private:
  class CPlaneCut;
  // The smallest level that has so many pixels, else the largest.
  std::size_t LevelFor(SSize reduced) const noexcept;
  SSize LevelSize(std::size_t level) const noexcept;
  void ReadPlane(std::size_t level, const SPlaneIndex& plane, const CTakeBand& take, CRenderGuard& guard);

  IStore& m_store;
  const SMultiscale& m_picture;
  std::vector<std::unique_ptr<CChunkReader>> m_readers;  // of the levels, made when they are first needed
};

}  // namespace imageformats::zarr
