#pragma once

// Masks all floating-point exceptions of the calling thread, so that codecs may compute with what files hold.
void MaskFloatingPointExceptions() noexcept;
