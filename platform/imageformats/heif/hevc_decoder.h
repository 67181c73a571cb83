#pragma once

#include "platform/imageformats/base/loaded_library.h"

namespace imageformats {

// Has this libheif decode HEVC through libde265 on the calling thread. Its own way there starts a thread, and waits for
// it for ever in a process that may start none. Without libde265, such pictures are refused as unsupported. False when
// libheif does not take it.
bool RegisterHevcDecoder(const CLoadedLibrary& heif) noexcept;

}  // namespace imageformats
