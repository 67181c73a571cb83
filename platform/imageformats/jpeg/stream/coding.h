#pragma once

#include <cstdint>

// What holds for every way of decoding JPEG.
namespace imageformats {

// A hostile stream repeats scans; real ones have about ten.
inline constexpr int kMaxScans = 100;
// By so much a fast rendering may differ because the last bits of coefficients are not read.
inline constexpr double kToleratedGreyLevels = 2.0;

// Natural position (row * 8 + column) of the kth coefficient in zigzag order (T.81, figure A.6).
inline constexpr std::uint8_t kNaturalOrder[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                                   12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                                   35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                                   58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

}  // namespace imageformats
