#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "metadata/qvexperiment.h"
#include "metadata/qvimageinfo.h"
#include "metadata/qvpicturemetadata.h"
#include "platform/imageformats/base/geometry.h"
#include "system/qvstring.h"
#include "system/qvtextinfo.h"

namespace imageformats {

// One level of the acquisition's loops. The adapter makes the SQvExperiment chain of them.
struct SLoop {
  std::uint32_t type = kQvLoopNone;            // EQvLoopType
  std::uint32_t size = 0;                      // steps
  double step = 0.0;                           // seconds (time) or micrometres (z), 0 unknown
  std::vector<SQvStagePosition> positions;     // stage positions
  std::vector<SQvExperimentChannel> channels;  // lambda
};

// All that a file says about its pictures, independent of the opened image: it stays usable after the image and its
// memory are gone. Unknown fields keep their defaults.
struct SImageMetadata {
  SQvImageInfo info;  // of the main picture, as COpenedImage::Info reports it
  SQvImageTextInfo text;
  SQvPictureMetadata picture;    // of the first picture; planes also name objective, aperture, z step
  double calibration = 0.0;      // micrometres per pixel along x, 0 unknown
  double aspect = 1.0;           // pixel height over width
  CQvStringW objective;          // name
  double acquisitionTime = 0.0;  // Julian day number, UTC, of the first picture; 0 unknown
  std::vector<SLoop> loops;      // outermost first; empty for a single picture
};

// The geometry of one picture in one piece, of unsigned samples all of whose bits count.
SQvImageInfo PlainInfo(SSize shown, std::uint32_t components, std::uint8_t bits);

// The start for an ordinary picture: its geometry, one plane of the picture's colour components, and the format's name
// as the text "type".
SImageMetadata PlainMetadata(const SQvImageInfo& info, const char* formatName, std::uint32_t colorComponents);

// A loop of more than one step; the step is in seconds or micrometres, 0 unknown.
void AddLoop(std::uint32_t type, std::uint32_t size, double step, SImageMetadata* metadata);

// The loop of channels, from the planes; adds nothing for a single one.
void AddChannelLoop(SImageMetadata* metadata);

// Text before and after a number that is known, that is, above 0; else empty.
std::string Labelled(const char* before, double value, int decimals, const char* after);
// Pixels and z step in micrometres, time step in seconds.
std::string SamplingText(double pixelWidth, double pixelHeight, double zStep, double timeStep);

}  // namespace imageformats
