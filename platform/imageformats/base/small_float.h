#pragma once

#include <cmath>
#include <cstdint>

namespace imageformats {

// A float of `exponentBits` and `mantissaBits` below its sign (IEEE 754 binary16: 5 and 10).
inline float SmallFloat(std::uint32_t value, int exponentBits, int mantissaBits) noexcept {
  const std::uint32_t mantissa = value & ((1u << mantissaBits) - 1);
  const int exponent = static_cast<int>(value >> mantissaBits & ((1u << exponentBits) - 1));
  const int bias = (1 << (exponentBits - 1)) - 1;
  float magnitude;
  if (exponent == (1 << exponentBits) - 1) {
    magnitude = mantissa == 0 ? INFINITY : NAN;
  } else if (exponent == 0) {
    magnitude = std::ldexp(static_cast<float>(mantissa), 1 - bias - mantissaBits);
  } else {
    magnitude = std::ldexp(static_cast<float>(mantissa | 1u << mantissaBits), exponent - bias - mantissaBits);
  }
  return value >> (exponentBits + mantissaBits) & 1 ? -magnitude : magnitude;
}

}  // namespace imageformats
