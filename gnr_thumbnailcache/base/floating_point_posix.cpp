#include <cfenv>

#include "gnr_thumbnailcache/base/floating_point.h"

// GNU's extension of <fenv.h>: traps are what the control words of other platforms mask.
void MaskFloatingPointExceptions() noexcept { fedisableexcept(FE_ALL_EXCEPT); }
