#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace imageformats {

enum EMrcMode : std::int32_t {
  kMrcBytes = 0,
  kMrcInt16 = 1,
  kMrcFloat = 2,
  kMrcComplexInt16 = 3,
  kMrcComplexFloat = 4,
  kMrcUnsigned16 = 6,
  kMrcHalf = 12,
  kMrcRgb = 16,
  kMrcNibbles = 101,
};

// What the 1024 bytes before the pixels say.
struct SMrcHeader {
  bool bigEndian = false;
  std::int32_t columns = 0, rows = 0, sections = 0;  // all above 0
  std::int32_t mode = 0;                             // EMrcMode, or unknown
  bool isSigned = true;                              // of mode 0
  double pixelX = 0.0, pixelY = 0.0, pixelZ = 0.0;   // micrometres, 0 unknown
  std::int32_t volumeSections = 0;                   // of each volume where there are several, else 0
  bool isVolume = false;                             // sections are z planes, not pictures of their own
  std::uint32_t extendedBytes = 0;                   // behind the header, before the pixels
  std::string labels;                                // a line each

  std::uint64_t PixelBytes() const noexcept;  // of the array; 0 for an unknown mode
  std::uint64_t RowBytes() const noexcept;
};

constexpr std::size_t kMrcHeaderBytes = 1024;

// Whether a file of `size` bytes (0: not known) that begins so is one. Those older than the signature must fit to the
// byte.
bool IsMrc(std::span<const std::uint8_t> head, std::uint64_t size);

// Nothing when no byte order makes sense of it.
std::optional<SMrcHeader> ReadMrcHeader(std::span<const std::uint8_t> head);

}  // namespace imageformats
