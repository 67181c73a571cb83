#include "platform/imageformats/jpeg2000/codestream.h"

#include <algorithm>
#include <vector>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::uint32_t kSoc = 0xFF4F, kSiz = 0xFF51, kSot = 0xFF90, kEoc = 0xFFD9, kCom = 0xFF64;
constexpr std::uint32_t kMaxTiles = 65535;
constexpr std::uint32_t kMaxComponents = 16384;
constexpr std::uint32_t kMaxCodestreamSide = 0x7FFFFFFF;
constexpr std::size_t kMaxCodestreamComment = 4096;
// What OpenJPEG keeps for each tile, and for each component of each, from the main header on.
constexpr std::uint64_t kTileBytes = 6500, kTileComponentBytes = 1200;
constexpr std::uint64_t kMaxTableBytes = 200u << 20;

std::uint32_t Big(const CInput& input, std::uint64_t offset, std::size_t size) {
  return static_cast<std::uint32_t>(ReadInteger(input, offset, size, true));
}

std::uint32_t TilesAlong(std::uint64_t end, std::uint32_t first, std::uint32_t tile) {
  return static_cast<std::uint32_t>(std::min<std::uint64_t>((end - first + tile - 1) / tile, kMaxTiles + 1));
}

std::string ReadComment(const CInput& input, std::uint64_t offset, std::uint32_t length) {
  if (length < 5 || Big(input, offset + 4, 2) != 1) return {};
  std::string comment(std::min<std::size_t>(length - 4, kMaxCodestreamComment), '\0');
  comment.resize(input.ReadAt(offset + 6, comment.data(), comment.size()));
  return comment;
}

// The first marker behind the main header, and the first comment on the way.
std::uint64_t SkipMainHeader(const CInput& input, const SCodestreamPlace& place, std::string* comment) {
  std::uint64_t at = place.offset + 2;
  while (at + 4 <= place.offset + place.size) {
    const std::uint32_t marker = Big(input, at, 2), length = Big(input, at + 2, 2);
    if (marker == kSot) return at;
    Require(marker >= 0xFF00 && length >= 2, "The JPEG 2000 header is damaged");
    if (marker == kCom && comment != nullptr && comment->empty()) *comment = ReadComment(input, at, length);
    at += 2 + length;
  }
  throw CDamagedError("The JPEG 2000 data end in their header");
}

}  // namespace

bool IsCodestream(const std::uint8_t* bytes, std::size_t size) noexcept {
  return size >= 4 && IntegerAt(bytes, 2, true) == kSoc && IntegerAt(bytes + 2, 2, true) == kSiz;
}

SCodestreamSize ReadCodestreamSize(const CInput& input, const SCodestreamPlace& place) {
  std::uint8_t head[42] = {};
  const bool isThere = place.size >= sizeof head && input.ReadAt(place.offset, head, sizeof head) == sizeof head;
  Require(isThere && IsCodestream(head, sizeof head), "The JPEG 2000 header is missing or damaged");
  const auto field = [&](std::size_t at) { return static_cast<std::uint32_t>(IntegerAt(head + at, 4, true)); };
  const std::uint32_t x1 = field(8), y1 = field(12), tileX0 = field(32), tileY0 = field(36);
  SCodestreamSize result;
  result.x0 = field(16);
  result.y0 = field(20);
  result.tile = {field(24), field(28)};
  result.components = static_cast<std::uint32_t>(IntegerAt(head + 40, 2, true));
  const bool isPossible = x1 <= kMaxCodestreamSide && y1 <= kMaxCodestreamSide && result.x0 < x1 && result.y0 < y1 &&
                          tileX0 <= result.x0 && tileY0 <= result.y0 && result.tile.width != 0 &&
                          result.tile.height != 0 && result.components != 0 && result.components <= kMaxComponents;
  Require(isPossible, "The JPEG 2000 picture has an impossible size");
  result.grid = {x1 - result.x0, y1 - result.y0};
  const std::uint64_t tiles =
      std::uint64_t{TilesAlong(x1, tileX0, result.tile.width)} * TilesAlong(y1, tileY0, result.tile.height);
  Require(tiles <= kMaxTiles, "The JPEG 2000 picture has an impossible number of tiles");
  result.tiles = static_cast<std::uint32_t>(tiles);
  Require(tiles * (kTileBytes + kTileComponentBytes * result.components) <= kMaxTableBytes,
          "The tables of the picture's tiles need too much memory");
  SkipMainHeader(input, place, &result.comment);
  return result;
}

std::uint64_t CheckTileParts(const CInput& input, const SCodestreamPlace& place, std::uint32_t tiles,
                             CRenderGuard& guard) {
  const std::uint64_t end = place.offset + place.size;
  std::vector<std::uint64_t> bytes = guard.NewVector<std::uint64_t>(tiles);
  std::uint64_t at = SkipMainHeader(input, place, nullptr);
  while (at + 12 <= end && Big(input, at, 2) == kSot) {
    guard.CheckTime();
    const std::uint32_t tile = Big(input, at + 4, 2), size = Big(input, at + 6, 4);
    Require(tile < tiles && (size == 0 || size >= 14), "A tile of the JPEG 2000 picture is damaged");
    const std::uint64_t left = end - at, part = size == 0 ? left : size;
    Require(part <= left, "The file is truncated: a tile is not complete");
    bytes[tile] += part;
    at += part;
  }
  const bool endsWell = at == end || (at + 2 <= end && Big(input, at, 2) == kEoc);
  Require(endsWell && std::find(bytes.begin(), bytes.end(), 0u) == bytes.end(), "Tiles of the picture are missing");
  return *std::max_element(bytes.begin(), bytes.end());
}

}  // namespace imageformats
