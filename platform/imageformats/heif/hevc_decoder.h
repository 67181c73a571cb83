#pragma once

#include "platform/imageformats/base/loaded_library.h"

namespace imageformats {

// Has this libheif decode HEVC through libde265 on the calling thread, whose time is limited. Its own way there starts
// another, and waits for it for ever where no thread can be started. Without libde265, such pictures are refused as
// unsupported. False when libheif does not take it.
bool RegisterHevcDecoder(const CLoadedLibrary& heif) noexcept;

}  // namespace imageformats
