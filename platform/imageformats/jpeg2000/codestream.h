#pragma once

#include <cstdint>
#include <string>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/base/input.h"
#include "platform/imageformats/base/render_guard.h"

namespace imageformats {

// Where a JPEG 2000 codestream (ISO/IEC 15444-1, Annex A) lies in an input.
struct SCodestreamPlace {
  std::uint64_t offset = 0;
  std::uint64_t size = 0;
};

// What the main header's SIZ and first COM say.
struct SCodestreamSize {
  SSize grid;  // of the picture on the reference grid
  SSize tile;
  std::uint32_t x0 = 0, y0 = 0;  // where the picture begins on the grid
  std::uint32_t tiles = 0;
  std::uint32_t components = 0;
  std::string comment;  // Latin-1
};

bool IsCodestream(const std::uint8_t* bytes, std::size_t size) noexcept;

// Throws CDamagedError for anything impossible, and for headers whose tables alone would take too much memory.
SCodestreamSize ReadCodestreamSize(const CInput& input, const SCodestreamPlace& place);

// Steps over the parts of tiles: throws CDamagedError unless every tile has one and all lie within the input. Returns
// the bytes of the largest tile.
std::uint64_t CheckTileParts(const CInput& input, const SCodestreamPlace& place, std::uint32_t tiles,
                             CRenderGuard& guard);

}  // namespace imageformats
