#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/imageformats/planes/stored_samples.h"
#include "platform/imageformats/zarr/array/json_text.h"

namespace imageformats::zarr {

// What is done to a chunk's bytes when they are written. Known ones of Zarr 2 and 3 mean the same.
enum class EPacking : std::uint8_t { kGzip, kZlib, kZstd, kBlosc, kLz4, kBzip2, kChecksum };

// Chunks of chunks: each stored file holds `chunksPerShard` along every axis, with an index of them.
struct SSharding {
  std::vector<std::uint64_t> chunksPerShard;
  bool indexAtStart = false;
  bool indexIsBigEndian = false;
  bool indexHasChecksum = false;
};

// How an array is stored. All lists have one element for each axis.
struct SArrayLayout {
  std::vector<std::uint64_t> shape;
  std::vector<std::uint64_t> chunk;    // the smallest piece that is unpacked by itself
  std::vector<std::uint64_t> strides;  // samples from one element of a chunk to the next along the axis
  SStoredSamples samples;
  bool isBoolean = false;
  double fill = 0.0;              // where there is no chunk; may be NaN or infinite
  std::vector<EPacking> packing;  // in the order of writing
  std::optional<SSharding> sharding;
  std::string keyPrefix;  // "c" or empty
  char separator = '.';
  bool isSeparatorKnown = true;  // false: the description leaves it to the reader

  std::uint64_t ChunkSamples() const noexcept;
  bool IsPacked() const noexcept { return !packing.empty(); }
};

// From `.zarray`, and from a `zarr.json` of an array. Throw CDamagedError, and CUnsupportedError for what this build
// does not know.
SArrayLayout LayoutOfVersion2(const CJson& description);
SArrayLayout LayoutOfVersion3(const CJson& description);

// What stands for missing chunks, as both versions write it: a number, "NaN", "Infinity", "-Infinity", a boolean, bits
// as "0x…", bytes in base64; nothing is 0.
double FillValue(const CJson* value, const SStoredSamples& samples);

// Strides of chunks whose axes are stored in that order, the last one fastest.
std::vector<std::uint64_t> StridesInOrder(const std::vector<std::uint64_t>& chunk,
                                          const std::vector<std::uint64_t>& order);

// Throws when the lists do not fit each other or lead to sizes that no file has.
void CheckLayout(const SArrayLayout& layout);

}  // namespace imageformats::zarr
