#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// What the marker segments before the first scan say (ITU-T T.81, annex B), read without decoding anything.
struct SJpegMarkers {
  std::uint8_t frameMarker = 0;  // SOF0..SOF15 (0xC0..0xCF); 0 when there was none
  std::uint32_t precision = 0;   // bits per sample
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t components = 0;
  // By how much the coarsest component is sampled less often than the finest, along each axis; 1 for full resolution.
  std::uint32_t subsamplingX = 1, subsamplingY = 1;
  bool hasAdobe = false;           // Adobe's marker: four components then hold inverted inks
  double quality = 0.0;            // 0..1, from the first quantisation table; 0 when there is none
  std::vector<std::uint8_t> exif;  // without the "Exif" prefix
  std::vector<std::uint8_t> profile;
  std::string comment;
};

// Reads up to the first scan (or the end). Bytes between segments are skipped, as decoders do. Throws CDamagedError
// when the content does not begin as JPEG, the frame header is missing or damaged, or the picture has no size.
SJpegMarkers ReadJpegMarkers(const CInput& input);

// Whether an end-of-image marker follows, walking scans and segments from `offset` on, which lies within
// entropy-coded data or before a marker.
bool HasEndOfImage(const CInput& input, std::uint64_t offset);

}  // namespace imageformats
