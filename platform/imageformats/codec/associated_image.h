#pragma once

#include <string>

#include "platform/imageformats/base/geometry.h"

namespace imageformats {

// A picture that lies in a file beside its main one, such as the label of a slide. Labels may carry patients' names:
// none of them is decoded unless it is asked for by its name, and none is ever taken for the overview.
struct SAssociatedImage {
  std::string name;  // UTF-8: "label", "macro", or as the format calls it
  SSize size;        // pixels, as it is shown
};

}  // namespace imageformats
