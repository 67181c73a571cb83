#pragma once

#include <string>
#include <vector>

#include "tools/samples/rgb_image.h"

// Something that can be taken with any number of pixels, as a camera or a scanner does.
struct SScene {
  std::string name;
  SRgbImage (*make)(int width, int height);
};

// Photographs, a printed page and a zone plate.
std::vector<SScene> Scenes();
