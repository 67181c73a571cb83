#pragma once

#include <string>
#include <vector>

#include "platform/imageformats/zarr/ngff/multiscale.h"

namespace imageformats::zarr {

// Where in a store the picture is that its root shows.
struct SFoundPicture {
  std::string key;        // the group's folder
  CJson attributes;       // the group's
  std::string plateName;  // of pictures in a plate
  std::string wellName;   // "B/3"
};

// The root itself; of a plate its first well, of a well its first field, of a list of series the first one, of a folder
// of label pictures the first one. Throws CFormatError.
SFoundPicture FindPicture(IStore& store, CRenderGuard& guard);

}  // namespace imageformats::zarr
