#pragma once

#include <cstdint>

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Bytes of the slide's file and of what belongs to it: the files beside it whose names begin with its own without the
// extension, and those in the folder of that name. Never throws for what cannot be read.
std::uint64_t SlideBytes(const CInput& input);

}  // namespace imageformats
