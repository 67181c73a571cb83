#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/samples/plane.h"

// A colour in display light, components 0 to 1.
struct SColor {
  float r = 0, g = 0, b = 0;

  friend SColor operator+(SColor left, SColor right) { return {left.r + right.r, left.g + right.g, left.b + right.b}; }
  friend SColor operator*(SColor left, SColor right) { return {left.r * right.r, left.g * right.g, left.b * right.b}; }
  friend SColor operator*(SColor color, float f) { return {color.r * f, color.g * f, color.b * f}; }
};

inline SColor Mix(SColor a, SColor b, float t) { return a * (1 - t) + b * t; }

// A picture of 8-bit RGB pixels, rows from the top without padding.
struct SRgbImage {
  int width = 0, height = 0;
  std::vector<std::uint8_t> pixels;

  SRgbImage() = default;
  SRgbImage(int w, int h)
      : width(w), height(h), pixels(3 * static_cast<std::size_t>(w) * static_cast<std::size_t>(h)) {}

  std::uint8_t* Pixel(int x, int y) {
    return pixels.data() +
           3 * (static_cast<std::size_t>(y) * static_cast<std::size_t>(width) + static_cast<std::size_t>(x));
  }
  const std::uint8_t* Pixel(int x, int y) const { return const_cast<SRgbImage*>(this)->Pixel(x, y); }
  void Set(int x, int y, SColor color) {
    std::uint8_t* pixel = Pixel(x, y);
    pixel[0] = ToByte(color.r);
    pixel[1] = ToByte(color.g);
    pixel[2] = ToByte(color.b);
  }
};

// Half the size in each direction (at least 1), each pixel the mean of the up to four below it.
SRgbImage Halve(const SRgbImage& image);
// The mean over whole blocks that fits the box; never enlarges.
SRgbImage FitInto(const SRgbImage& image, int width, int height);
// Turned a quarter to the left (counter-clockwise).
SRgbImage TurnLeft(const SRgbImage& image);
// A frame of that many pixels inside the border.
void DrawFrame(SRgbImage* image, int thickness, SColor color);
