#include <cfenv>

#include "gnr_thumbnailcache/base/floating_point.h"

#if defined(__x86_64__) || defined(__i386__)

#include <cstdint>

// Both units have a mask for each of the six exceptions; the one for denormal operands, which <fenv.h> leaves out, is
// among them.
void MaskFloatingPointExceptions() noexcept {
  constexpr std::uint16_t kX87Masks = 0x3F;
  std::uint16_t control = 0;
  asm volatile("fnstcw %0" : "=m"(control));
  control |= kX87Masks;
  asm volatile("fldcw %0" : : "m"(control));
#if defined(__SSE__)
  constexpr std::uint32_t kSseMasks = 0x3F << 7;
  __builtin_ia32_ldmxcsr(__builtin_ia32_stmxcsr() | kSseMasks);
#endif
}

#else

// GNU's extension of <fenv.h>: traps are what the control words of other platforms mask.
void MaskFloatingPointExceptions() noexcept { fedisableexcept(FE_ALL_EXCEPT); }

#endif
