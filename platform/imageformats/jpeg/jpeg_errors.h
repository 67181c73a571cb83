#pragma once

#include <csetjmp>
#include <cstddef>
#include <cstdio>

#include <jpeglib.h>

#include "platform/imageformats/base/c_call.h"

namespace imageformats {

// libjpeg reports errors through a callback that must not return; it jumps back to
// CallLibrary.
struct SJpegErrors {
  jpeg_error_mgr base;  // first: libjpeg knows only this part
  std::jmp_buf jump;
  int code;  // libjpeg's message code
  char text[JMSG_LENGTH_MAX];
};

// Prepares the record and returns what goes into the libjpeg object's `err`. Warnings that mean lost pixels count as
// errors; those that leave the picture whole are passed over.
jpeg_error_mgr* InitJpegErrors(SJpegErrors& errors) noexcept;

// Throws what the last failure means: CUnsupportedError or CDamagedError.
[[noreturn]] void ThrowJpegError(const SJpegErrors& errors);

// Runs a step that calls libjpeg; throws what its failure means.
template <class State>
void CallJpegLibrary(SJpegErrors& errors, State& state, void (*step)(State&)) {
  if (!CallLibrary(errors.jump, state, step)) ThrowJpegError(errors);
}

}  // namespace imageformats
