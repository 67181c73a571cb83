#pragma once

#include <string>

#include "tools/samples/output.h"

struct SExif {
  std::string make, model, artist, description;
  std::string dateTime;  // "YYYY:MM:DD HH:MM:SS", local time
  int orientation = 1;
  int isoSpeed = 0;
  double exposureSeconds = 0;
  double aperture = 0;     // f-number
  double focalLength = 0;  // millimetres
  CBytes thumbnail;        // a small JPEG stream, as cameras embed it; empty for none
};

// The content of a JPEG APP1 marker (Exif 2.3: JEITA CP-3451C), little-endian.
CBytes MakeExif(const SExif& exif);
