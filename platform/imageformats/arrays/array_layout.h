#pragma once

#include <cstdint>
#include <optional>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/planes/plane_stack.h"
#include "platform/imageformats/planes/stored_samples.h"

namespace imageformats {

// How pictures lie in an array. Steps are in bytes, from one sample to the next along an axis; any order of the axes is
// possible, since each step tells its own.
struct SArrayLayout {
  SStoredSamples samples;
  bool isNibbles = false;  // samples of four bits, two in a byte, the first in the low ones; each row begins a byte
  bool flipsSign = false;  // unsigned integers whose highest bit is stored inverted
  // The integer that means no value, as it is stored: of unsigned bytes and of wider signed integers.
  std::optional<std::int64_t> blank;
  SSize size;
  std::uint32_t components = 1;  // of a pixel: 1, or 3 of a picture in colour
  bool hasOpacity = false;       // one more component behind the colours
  std::uint64_t x = 0, y = 0, component = 0, channel = 0, z = 0, t = 0, position = 0;
  double slope = 1.0, intercept = 0.0;  // a value is stored * slope + intercept

  // Whether the components of a pixel stand far apart, each as a picture of its own.
  bool IsPlanar() const noexcept { return components > 1 && component > x; }
  std::uint64_t OffsetOf(const SPlaneIndex& plane) const noexcept {
    return plane.channel * channel + plane.z * z + plane.t * t + plane.position * position;
  }
};

}  // namespace imageformats
