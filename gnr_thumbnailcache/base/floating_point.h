#pragma once

// Masks all floating-point exceptions of the calling thread, denormal operands included, so that codecs may compute
// with what files hold. Threads that it starts inherit that. The masks stay.
void MaskFloatingPointExceptions() noexcept;
