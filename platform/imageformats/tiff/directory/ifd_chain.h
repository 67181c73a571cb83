#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "platform/imageformats/base/input.h"

namespace imageformats::tiff {

// The few facts of a directory that tell pages, levels and planes apart, read without libtiff: a stack of ten thousand
// planes is read in the time that libtiff takes for a hundred directories.
struct SIfdSummary {
  std::uint64_t offset = 0;  // in the file
  std::uint32_t width = 0, height = 0;
  std::uint32_t bits = 1, samples = 1;  // of the first sample; per pixel
  std::uint32_t subfileType = 0;        // bit 0: reduced resolution, bit 1: a page, bit 2: a mask
  std::uint32_t photometric = 0;
};

// No chain is followed further than this.
inline constexpr std::size_t kMaxDirectories = 1u << 20;

// Reads the main chain from the file header. A loop, a pointer out of the file or an unreadable directory ends the
// chain: what came before it stays usable. *leadsOut, which may be null, receives whether one of the two latter did:
// the file has lost its end, or does not have it yet. Throws CDamagedError when there is no TIFF header or not one
// directory.
std::vector<SIfdSummary> ReadIfdChain(const CInput& input, bool* leadsOut = nullptr);

// Likewise from each of these directories on, such as sub-IFDs, at most `limit` directories each; possibly none. All
// together read no more than the file has.
std::vector<SIfdSummary> ReadIfdChainsFrom(const CInput& input, std::span<const std::uint64_t> offsets,
                                           std::size_t limit);

}  // namespace imageformats::tiff
