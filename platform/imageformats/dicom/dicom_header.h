#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/imageformats/base/geometry.h"
#include "platform/imageformats/dicom/dicom_reader.h"
#include "platform/imageformats/render/tone_map.h"

namespace imageformats {

enum class EDicomCoding { kNative, kRle, kJpeg, kJpeg2000 };

// What a DICOM file says of its pictures. Nothing about persons and institutions is read.
struct SDicomHeader {
  SDicomEncoding encoding;
  EDicomCoding coding = EDicomCoding::kNative;

  SSize frame;
  std::uint32_t frames = 1;
  std::uint32_t samples = 1;  // per pixel
  std::uint32_t bitsAllocated = 8, bitsStored = 0, highBit = 0;
  bool isSigned = false;
  bool isPlanar = false;
  std::string photometric;
  std::array<std::vector<std::uint8_t>, 3> palette;  // R G B, bytes; empty without one
  std::int32_t firstColor = 0;                       // the value that the palettes begin at
  std::optional<SDisplayRange> window;               // in stored values
  std::vector<std::uint8_t> profile;                 // ICC

  // Of slides, whose frames are tiles.
  SSize total;  // 0 x 0 otherwise
  bool isTiledFull = false;
  std::uint32_t focalPlanes = 1;
  std::vector<std::pair<std::uint32_t, std::uint32_t>> places;  // of each frame: column and row of its corner, from 1

  double spacingX = 0.0, spacingY = 0.0;  // micrometres per pixel, 0 unknown
  double frameSeconds = 0.0;
  double objectivePower = 0.0, aperture = 0.0;
  std::string imageType, modality, manufacturer, model, software;
  std::string dateTime;  // YYYYMMDDhhmmss…, with an offset or not

  std::uint64_t pixels = 0;        // offset of the pixel data
  std::uint32_t pixelsLength = 0;  // kDicomUndefinedLength: in fragments
  bool inWords = false;            // stored as words, also when samples are bytes

  bool IsGrey() const noexcept { return photometric.starts_with("MONOCHROME"); }
  bool IsPalette() const noexcept { return photometric == "PALETTE COLOR"; }
  bool IsTiled() const noexcept { return total.width != 0; }
};

bool IsDicom(const CInput& input) noexcept;

// Throws CDamagedError for files that are damaged, CUnsupportedError for transfer syntaxes and samples that cannot be
// shown.
SDicomHeader ReadDicomHeader(const CInput& input);

}  // namespace imageformats
