#pragma once

#include <cstddef>
#include <cstdint>

#include "system/qvexport.h"

// A picture in memory: rows from top to bottom, components interleaved (R, G, B). A plain record: copying it shares the
// pixels. Created, re-shaped and freed only through CQvPicBufAPI.
struct SQvPicBuf {
  std::uint32_t width;       // pixels
  std::uint32_t height;      // pixels
  std::uint32_t widthBytes;  // bytes from one row to the next
  std::uint32_t bpc;         // bits per component in memory: 8 or 16
  std::uint32_t components;  // components per pixel
  std::size_t dataSize;      // widthBytes * height
  void* data;                // null: no pixels
};

// All operations: any thread, one thread at a time per picture.
class QV_PICTURE_API CQvPicBufAPI {
 public:
  // Makes an empty picture of an uninitialised record; frees nothing.
  static void Init(SQvPicBuf* picture) noexcept;

  // Gives the picture a shape, reusing its pixel memory when the size is the same. `widthBytes` 0 means rows aligned to
  // 4 bytes for 8- and 16-bit pictures of up to 4 components; else the exact row length. `clear` sets every byte to 0;
  // without it pixels are undefined. Returns 0; or -9 for an impossible shape (a zero or over-large side, other bits
  // than 8 or 16, no or more than 4096 components, a too short row, more than 4 GiB) or no memory, the picture then
  // being empty, as Free leaves it.
  static std::int32_t Reinit(SQvPicBuf* picture, std::uint32_t width, std::uint32_t height, std::uint32_t widthBytes,
                             std::uint32_t bpc, std::uint32_t components, bool clear) noexcept;

  // Frees the pixels and leaves the picture empty. An empty picture is allowed.
  static void Free(SQvPicBuf* picture) noexcept;

  static bool HasPixels(const SQvPicBuf& picture) noexcept { return picture.data != nullptr; }
};

class QV_PICTURE_API CQvPicBufAPI_GeomTrans {
 public:
  static constexpr std::int32_t kStretchNearest = 0;
  static constexpr std::int32_t kStretchBilinear = 1;
  // Area average along each axis that shrinks, bilinear along each that grows.
  static constexpr std::int32_t kStretchArea = 3;

  // Fills the whole destination with the whole source; bits and components must match and both must hold pixels.
  // Returns 0, or -9 with the destination's pixels unchanged (mismatch, unknown mode, no memory). The two pictures must
  // not share pixels.
  static std::int32_t Stretch(SQvPicBuf* destination, const SQvPicBuf* source, std::int32_t mode) noexcept;
};
