#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace imageformats {

// Sixteen bytes, in the vector type that GCC and Clang share; constant moves are one instruction of every x86-64.
using SSixteenBytes = std::uint8_t __attribute__((vector_size(16)));

// Moved towards higher places, zeros behind.
template <std::size_t kBytes>
SSixteenBytes MoveUp(SSixteenBytes bytes) noexcept {
  if constexpr (kBytes >= 16) return SSixteenBytes{};
  return [&]<std::size_t... i>(std::index_sequence<i...>) {
    return __builtin_shufflevector(SSixteenBytes{}, bytes, (i < kBytes ? 0 : 16 + i - kBytes)...);
  }
  (std::make_index_sequence<16>());
}

// And towards lower ones.
template <std::size_t kBytes>
SSixteenBytes MoveDown(SSixteenBytes bytes) noexcept {
  return [&]<std::size_t... i>(std::index_sequence<i...>) {
    return __builtin_shufflevector(bytes, SSixteenBytes{}, (i + kBytes)...);
  }
  (std::make_index_sequence<16>());
}

// Each place with the pixels before it added, and the last whole pixel in every place.
template <std::size_t kPixel>
SSixteenBytes SumsOfPixels(SSixteenBytes bytes) noexcept {
  bytes += MoveUp<kPixel>(bytes);
  bytes += MoveUp<2 * kPixel>(bytes);
  bytes += MoveUp<4 * kPixel>(bytes);
  return bytes + MoveUp<8 * kPixel>(bytes);
}
template <std::size_t kPixel>
SSixteenBytes LastPixelEverywhere(SSixteenBytes bytes) noexcept {
  return SumsOfPixels<kPixel>(MoveDown<16 - kPixel>(MoveUp<16 % kPixel>(bytes)));
}

// Adds to each byte of a row, modulo 256, the bytes that stand 1, 2 ... times `kPixel` (1 to 8) before it: the inverse
// of TIFF's horizontal predictor for samples of 8 bits (TIFF 6.0, section 14) and of PNG's filter Sub (PNG, 9.2). Sums
// within sixteen bytes wait for nothing; only the step from one sixteen to the next does.
template <std::size_t kPixel>
void AddPixelsToTheLeft(std::uint8_t* row, std::size_t bytes) noexcept {
  constexpr std::size_t kWhole = 16 - 16 % kPixel;
  SSixteenBytes left = {}, next = {};
  std::size_t done = 0;
  if (bytes >= 16) std::memcpy(&next, row, 16);
  for (; done + kWhole + 16 <= bytes; done += kWhole) {
    const SSixteenBytes sums = SumsOfPixels<kPixel>(next);
    // Before the store, which spoils what stands behind the whole pixels.
    std::memcpy(&next, row + done + kWhole, 16);
    const SSixteenBytes result = sums + left;
    std::memcpy(row + done, &result, 16);
    left += LastPixelEverywhere<kPixel>(sums);
  }
  if (done != 0) std::memcpy(row + done, &next, 16);
  for (std::size_t i = done < kPixel ? kPixel : done; i < bytes; ++i) {
    row[i] = static_cast<std::uint8_t>(row[i] + row[i - kPixel]);
  }
}

}  // namespace imageformats
