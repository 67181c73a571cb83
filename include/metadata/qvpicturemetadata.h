#pragma once

#include <cstdint>

#include "metadata/qvpictureplanes.h"
#include "system/qvstring.h"

// What is known of one picture of a file. A value type.
struct SQvPictureMetadata {
  SQvPicturePlanes planes;
  double calibration = 0.0;  // micrometres per pixel, 0 unknown
  double zStep = 0.0;        // micrometres, 0 unknown
  CQvStringW objectiveName;
  double objectiveMagnification = 0.0;  // 0 unknown
  double numericalAperture = 0.0;       // 0 unknown
  double acquisitionTime = 0.0;         // Julian day number, UTC, 0 unknown

  // Number of planes (channels).
  std::uint32_t GetPlaneCount() const noexcept { return static_cast<std::uint32_t>(planes.planes.size()); }
};
