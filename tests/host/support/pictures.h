#pragma once

#include <array>
#include <cstdint>
#include <string>

// Pictures that tests make themselves.

using SRgb = std::array<std::uint8_t, 3>;
constexpr SRgb kRed = {200, 30, 30};
constexpr SRgb kGreen = {30, 160, 60};

// A plain picture with a darker left half, so that a wrong orientation shows.
void WritePng(const std::string& path, unsigned width, unsigned height, const SRgb& color);

struct SStackShape {
  unsigned times = 1, planes = 1, channels = 1;
};
// A 16-bit OME-TIFF of 64 x 48 pixels, 0.325 micrometres each, acquired at 2024-05-01T12:30:00.
void WriteStack(const std::string& path, const SStackShape& shape);

// Size and mean colour of a JPEG or PNG file, decoded without the program under test.
struct SDecodedPicture {
  unsigned width = 0, height = 0;
  SRgb left{}, right{};  // in the middle of either half
  SRgb edge{};           // in the middle of the second row
};
SDecodedPicture DecodePng(const std::string& path);
SDecodedPicture DecodeJpeg(const std::string& path);
