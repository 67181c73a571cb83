#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/imageformats/render/channel_composite.h"

// What ImageJ writes into TIFF files: a description of "key=value" lines, and a block of metadata in private tags
// (ImageJ's TiffEncoder and TiffDecoder document both).
namespace imageformats::tiff {

struct SImageJ {
  std::string version;
  std::uint32_t images = 1, channels = 1, slices = 1, frames = 1;
  std::string mode;                    // "composite", "color", "grayscale"; empty for plain stacks
  std::string unit;                    // of lengths, UTF-8
  double spacing = 0.0;                // between slices, in units; 0 unknown
  double frameInterval = 0.0;          // seconds, 0 unknown
  std::optional<SDisplayRange> range;  // of the first channel

  std::string info;                   // the image's Info property, UTF-8
  std::vector<std::string> labels;    // of the first slices
  std::vector<SDisplayRange> ranges;  // per channel
  std::vector<SLookupTable> tables;   // lookup tables, per channel
};

// Parses a description; nothing when the text is not ImageJ's. Values that make no sense are left at their defaults;
// sizes are at least 1; images is channels * slices * frames where the text does not say.
std::optional<SImageJ> ParseImageJDescription(std::string_view text);

// Adds what the metadata block says. `counts` and `block` are the tags' values; damaged ones add what can be read.
void ParseImageJMetadata(std::span<const std::uint32_t> counts, std::span<const std::uint8_t> block, SImageJ* imageJ);

}  // namespace imageformats::tiff
