#pragma once

#include "tests/support/file_bytes.h"

namespace qvtest {

// ICC profiles made by lcms2. The first is RGB with swapped red and green primaries, so that its use is plain to see.
SFileBytes SwappedPrimariesProfile();
SFileBytes SrgbProfile();

}  // namespace qvtest
