#pragma once

#include <string_view>

#include "tools/samples/rgb_image.h"

// Draws anti-aliased lines, dots and small texts on a ground that may be transparent.
class CCanvas {
 public:
  CCanvas(int width, int height, SColor ground, float groundAlpha);

  int Width() const { return m_color.width; }
  int Height() const { return m_color.height; }

  // Covers one pixel by the part `cover` of it.
  void Dot(int x, int y, SColor color, float cover);
  void Line(float x0, float y0, float x1, float y1, float thickness, SColor color);
  void Disc(float x, float y, float radius, SColor color, float opacity = 1);
  void Box(int x0, int y0, int x1, int y1, SColor color, float opacity = 1);
  // Capitals, digits and " .,-+%/()=" in letters of 5 x 7 dots, `scale` pixels each; (x, y) is the upper left corner.
  void Text(int x, int y, std::string_view text, int scale, SColor color);

  const SRgbImage& Colors() const { return m_color; }
  const std::vector<std::uint8_t>& Alphas() const { return m_alpha; }

 private:
  SRgbImage m_color;
  std::vector<std::uint8_t> m_alpha;
};
