#pragma once

namespace imageformats {

// Whether this processor has wider vectors than every one of its kind.
inline bool HasWideVectors() noexcept {
#if defined(__x86_64__)
  static const bool has = __builtin_cpu_supports("avx2");
  return has;
#else
  return false;
#endif
}

// The loop compiled for wider vectors; only where there are some. The results are the same to the bit: products are not
// contracted with sums, which would take another extension.
template <class Loop>
#if defined(__x86_64__)
[[gnu::target("avx2"), gnu::flatten]]
#endif
auto RunWideLoop(const Loop& loop) {
  return loop();
}

// Runs a loop that compilers turn into vector code, as wide as the processor has it.
template <class Loop>
auto RunVectorLoop(const Loop& loop) {
  return HasWideVectors() ? RunWideLoop(loop) : loop();
}

}  // namespace imageformats
