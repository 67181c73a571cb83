#include <cfenv>

#include "gnr_thumbnailcache/fp_exceptions.h"

// GNU's extension of <fenv.h>: traps are what the control words of other platforms mask.
void MaskFloatingPointExceptions() noexcept { fedisableexcept(FE_ALL_EXCEPT); }
