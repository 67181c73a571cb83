#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/imageformats/render/orientation.h"
#include "platform/imageformats/tiff/directory/tiff_handle.h"

namespace imageformats::tiff {

enum class ESampleFormat : std::uint8_t { kUnsigned, kSigned, kFloat, kOther };

// One directory as far as its pixels are concerned.
struct SPage {
  std::uint64_t offset = 0;  // of the directory
  std::uint32_t width = 0, height = 0;
  std::uint32_t bits = 1;     // per sample
  std::uint32_t samples = 1;  // per pixel, extra samples included
  ESampleFormat format = ESampleFormat::kUnsigned;
  std::uint32_t photometric = 0;  // PHOTOMETRIC_…; guessed when the file is silent
  std::uint32_t compression = 1;  // COMPRESSION_…
  std::uint32_t predictor = 1;
  std::uint32_t inkSet = 1;
  std::uint32_t subsamplingX = 1, subsamplingY = 1;  // of YCbCr's colour; JPEG streams say it themselves
  bool planar = false;                               // samples in planes of their own
  bool bigEndian = false;
  bool tiled = false;
  std::uint32_t blockWidth = 0, blockHeight = 0;  // of a tile, or a strip's width and rows
  EOrientation orientation = EOrientation::kTopLeft;
  std::vector<std::uint16_t> extraSamples;  // EXTRASAMPLE_…
  double minValue = 0.0, maxValue = 0.0;    // SMinSampleValue, SMaxSampleValue (or MaxSampleValue); equal: not stated
  std::vector<std::uint16_t> palette;       // 3 << bits values, reds first; empty without one
  std::vector<std::uint8_t> profile;        // ICC profile, empty without one
  std::vector<std::uint64_t> subIfds;       // offsets

  SSize Size() const noexcept { return {width, height}; }
  std::uint32_t BlocksAcross() const noexcept { return 1 + (width - 1) / blockWidth; }
  std::uint32_t BlocksDown() const noexcept { return 1 + (height - 1) / blockHeight; }
  // The number of a tile or strip in the file; `plane` is 0 unless the page is planar.
  std::uint32_t BlockIndex(std::uint32_t column, std::uint32_t row, std::uint32_t plane) const noexcept {
    return (plane * BlocksDown() + row) * BlocksAcross() + column;
  }
  // The part of a block that lies in the picture.
  std::uint32_t UsedBlockWidth(std::uint32_t column) const noexcept {
    return std::min(blockWidth, width - column * blockWidth);
  }
  std::uint32_t UsedBlockHeight(std::uint32_t row) const noexcept {
    return std::min(blockHeight, height - row * blockHeight);
  }
  // Samples of one plane as they lie in a row: 1 for planar pages.
  std::uint32_t RowSamples() const noexcept { return planar ? 1 : samples; }
  // Bits that carry information: from the stated extreme values, else all.
  std::uint32_t SignificantBits() const noexcept;
};

// JPEG 2000 codestreams in tiles or strips: of slide scanners (one of them YCbCr without saying so), and of others.
enum EJpeg2000Compression : std::uint32_t { kJpeg2000Ycc = 33003, kJpeg2000Rgb = 33005, kJpeg2000Plain = 34712 };
constexpr bool IsJpeg2000(std::uint32_t compression) noexcept {
  return compression == kJpeg2000Ycc || compression == kJpeg2000Rgb || compression == kJpeg2000Plain;
}

// Selects and reads the directory. Throws CDamagedError for directories without geometry or with impossible values.
SPage ReadPage(CTiffHandle& tiff, std::uint64_t directoryOffset);

inline constexpr char kPlanarSubsampled[] = "Planes of YCbCr whose colour is sampled less often are not supported";

// Why this build cannot turn the page's pixels into a picture; empty when it can.
std::string UnsupportedReason(const SPage& page);

}  // namespace imageformats::tiff
