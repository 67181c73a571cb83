#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

// How samples lie in a file of plain arrays.
struct SStoredSamples {
  enum class EKind : std::uint8_t { kUnsigned, kSigned, kFloat };
  EKind kind = EKind::kUnsigned;
  std::uint32_t bytes = 1;  // 1, 2, 4 or 8 of an integer; 2, 4 or 8 of a float
  bool bigEndian = false;
  friend bool operator==(const SStoredSamples&, const SStoredSamples&) = default;
};

// The type that such samples are averaged as; halves become single floats. Throws CUnsupportedError for other sizes.
ESampleType LoadedType(const SStoredSamples& stored);
// Brings `count` stored samples into this machine's order and LoadedType(stored). `out` is aligned for it.
void LoadSamples(const SStoredSamples& stored, const std::uint8_t* bytes, std::size_t count, void* out) noexcept;

// The values that an integer type holds; 0 to 1 for floats.
SDisplayRange NominalRangeOf(const SStoredSamples& stored) noexcept;

}  // namespace imageformats
