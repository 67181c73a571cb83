#pragma once

#include <csetjmp>

namespace imageformats {

// Calls into C libraries that report errors through a callback which must not return. The callback jumps back here;
// the jump passes over the library's frames and the step's only, so neither may hold anything with a destructor: the
// step is a plain function over the state. False when the library gave up.
template <class State>
[[gnu::noinline]] bool CallLibrary(std::jmp_buf& jump, State& state, void (*step)(State&)) noexcept {
  if (setjmp(jump) != 0) return false;
  step(state);
  return true;
}

}  // namespace imageformats
