#pragma once

#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

namespace imageformats {

// What of a progressive stream has to be there.
enum class ENeededScans {
  kAll,      // every coefficient to its last bit
  kAtScale,  // every coefficient that the chosen scale shows: a block scaled to n x n pixels is made of its lowest n x
             // n frequencies
  kWithinTolerance,  // the same, but the lowest bits may still be missing where each coefficient is off by two grey
                     // levels at most; that keeps the picture above 40 dB
};

// Whether the scans read so far hold them. Always false for sequential streams, which keep no record of it. After
// jpeg_start_decompress.
bool HasScans(const jpeg_decompress_struct& info, ENeededScans need) noexcept;

}  // namespace imageformats
