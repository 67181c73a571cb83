#pragma once

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Files that a decoder died of, or had to be ended for, are remembered by path, size and last-write time in the user's
// cache folder ($XDG_CACHE_HOME/qvthumbs/decoder-failures, with ~/.cache for an unset or relative variable), by every
// process of the user. Nothing is remembered where there is no such folder. All: any thread; failures to read or to
// write are silent.

// Notes that it happened once more. Content that is no file is not noted.
void NoteTroublemaker(const CInput& input) noexcept;
// Whether it happened twice to the file as it is now.
bool IsTroublemaker(const CInput& input) noexcept;

}  // namespace imageformats
