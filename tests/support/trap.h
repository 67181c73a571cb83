#pragma once

namespace qvtest {

// Stops a fuzzer, with the input that broke a promise.
inline void TrapUnless(bool holds) {
  if (!holds) __builtin_trap();
}

}  // namespace qvtest
