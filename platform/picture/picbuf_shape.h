#pragma once

#include <cstdint>

#include "picture/qvpicbuf.h"

// Limits of a picture in memory. A side fits a signed 32-bit number, as the image libraries want it.
constexpr std::uint32_t kMaxPictureSide = 0x7FFFFFFF;
constexpr std::uint32_t kMaxPictureComponents = 4096;
constexpr std::uint64_t kMaxPictureBytes = std::uint64_t{4} << 30;

// Bytes of a row without padding; 0 for a shape that no picture can have.
std::uint64_t ExactRowBytes(std::uint32_t width, std::uint32_t bpc, std::uint32_t components) noexcept;

// True when the record's numbers agree with each other and it holds pixels, so that every row may be read and written.
bool IsUsablePicture(const SQvPicBuf& picture) noexcept;
