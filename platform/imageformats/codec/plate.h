#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/imageformats/base/geometry.h"

namespace imageformats {

// A well of a plate, as far as there are pictures of it.
struct SPlateWell {
  std::uint32_t row = 0, column = 0;  // from 0
  std::uint32_t fields = 1;           // pictures of it
  // UTF-8: the plain name of the file beside the opened one that holds the first of them; of a picture that is a
  // folder, the way below it. Empty: the opened one.
  std::string location;
  // That location's own overview is another picture, so that this one can only be rendered by the well.
  bool isHidden = false;
  SSize size;  // of the first picture, in pixels
};

struct SPlate {
  std::string name;                     // UTF-8
  std::uint32_t rows = 0, columns = 0;  // 0: not said
  std::vector<SPlateWell> wells;
};

}  // namespace imageformats
