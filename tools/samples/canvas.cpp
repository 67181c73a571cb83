#include "tools/samples/canvas.h"

#include <cstring>

namespace {

// Seven rows from the top, five dots each, the leftmost in bit 4. Drawn for this program.
struct SGlyph {
  char character;
  std::uint8_t rows[7];
};

constexpr SGlyph kGlyphs[] = {
    {'0', {14, 17, 19, 21, 25, 17, 14}}, {'1', {4, 12, 4, 4, 4, 4, 14}},      {'2', {14, 17, 1, 6, 8, 16, 31}},
    {'3', {14, 17, 1, 6, 1, 17, 14}},    {'4', {2, 6, 10, 18, 31, 2, 2}},     {'5', {31, 16, 30, 1, 1, 17, 14}},
    {'6', {6, 8, 16, 30, 17, 17, 14}},   {'7', {31, 1, 2, 4, 8, 8, 8}},       {'8', {14, 17, 17, 14, 17, 17, 14}},
    {'9', {14, 17, 17, 15, 1, 2, 12}},   {'A', {14, 17, 17, 31, 17, 17, 17}}, {'B', {30, 17, 17, 30, 17, 17, 30}},
    {'C', {14, 17, 16, 16, 16, 17, 14}}, {'D', {28, 18, 17, 17, 17, 18, 28}}, {'E', {31, 16, 16, 30, 16, 16, 31}},
    {'F', {31, 16, 16, 30, 16, 16, 16}}, {'G', {14, 17, 16, 23, 17, 17, 15}}, {'H', {17, 17, 17, 31, 17, 17, 17}},
    {'I', {14, 4, 4, 4, 4, 4, 14}},      {'J', {7, 2, 2, 2, 2, 18, 12}},      {'K', {17, 18, 20, 24, 20, 18, 17}},
    {'L', {16, 16, 16, 16, 16, 16, 31}}, {'M', {17, 27, 21, 21, 17, 17, 17}}, {'N', {17, 25, 21, 19, 17, 17, 17}},
    {'O', {14, 17, 17, 17, 17, 17, 14}}, {'P', {30, 17, 17, 30, 16, 16, 16}}, {'Q', {14, 17, 17, 17, 21, 18, 13}},
    {'R', {30, 17, 17, 30, 20, 18, 17}}, {'S', {15, 16, 16, 14, 1, 1, 30}},   {'T', {31, 4, 4, 4, 4, 4, 4}},
    {'U', {17, 17, 17, 17, 17, 17, 14}}, {'V', {17, 17, 17, 17, 17, 10, 4}},  {'W', {17, 17, 17, 21, 21, 27, 17}},
    {'X', {17, 17, 10, 4, 10, 17, 17}},  {'Y', {17, 17, 10, 4, 4, 4, 4}},     {'Z', {31, 1, 2, 4, 8, 16, 31}},
    {'.', {0, 0, 0, 0, 0, 12, 12}},      {',', {0, 0, 0, 0, 12, 4, 8}},       {'-', {0, 0, 0, 31, 0, 0, 0}},
    {'+', {0, 4, 4, 31, 4, 4, 0}},       {'%', {24, 25, 2, 4, 8, 19, 3}},     {'/', {1, 1, 2, 4, 8, 16, 16}},
    {'(', {2, 4, 8, 8, 8, 4, 2}},        {')', {8, 4, 2, 2, 2, 4, 8}},        {'=', {0, 0, 31, 0, 31, 0, 0}},
};

const std::uint8_t* FindGlyph(char character) {
  for (const SGlyph& glyph : kGlyphs) {
    if (glyph.character == character) return glyph.rows;
  }
  return nullptr;
}

}  // namespace

CCanvas::CCanvas(int width, int height, SColor ground, float groundAlpha)
    : m_color(width, height),
      m_alpha(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), ToByte(groundAlpha)) {
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) m_color.Set(x, y, ground);
  }
}

void CCanvas::Dot(int x, int y, SColor color, float cover) {
  if (x < 0 || y < 0 || x >= Width() || y >= Height() || cover <= 0) return;
  std::uint8_t* pixel = m_color.Pixel(x, y);
  std::uint8_t& alpha =
      m_alpha[static_cast<std::size_t>(y) * static_cast<std::size_t>(Width()) + static_cast<std::size_t>(x)];
  const float before = static_cast<float>(alpha) / 255, after = cover + before * (1 - cover);
  const SColor old{static_cast<float>(pixel[0]) / 255, static_cast<float>(pixel[1]) / 255,
                   static_cast<float>(pixel[2]) / 255};
  m_color.Set(x, y, Mix(old, color, cover / after));
  alpha = ToByte(after);
}

void CCanvas::Line(float x0, float y0, float x1, float y1, float thickness, SColor color) {
  const float dx = x1 - x0, dy = y1 - y0, square = std::max(dx * dx + dy * dy, 1e-6f), half = 0.5f * thickness;
  const int left = static_cast<int>(std::floor(std::min(x0, x1) - half - 1)),
            right = static_cast<int>(std::ceil(std::max(x0, x1) + half + 1));
  const int top = static_cast<int>(std::floor(std::min(y0, y1) - half - 1)),
            bottom = static_cast<int>(std::ceil(std::max(y0, y1) + half + 1));
  for (int y = top; y <= bottom; ++y) {
    for (int x = left; x <= right; ++x) {
      const float px = static_cast<float>(x) - x0, py = static_cast<float>(y) - y0;
      const float t = std::clamp((px * dx + py * dy) / square, 0.0f, 1.0f);
      const float distance = std::hypot(px - t * dx, py - t * dy);
      Dot(x, y, color, std::clamp(half + 0.5f - distance, 0.0f, 1.0f));
    }
  }
}

void CCanvas::Disc(float x, float y, float radius, SColor color, float opacity) {
  for (int py = static_cast<int>(y - radius - 1); py <= static_cast<int>(y + radius + 2); ++py) {
    for (int px = static_cast<int>(x - radius - 1); px <= static_cast<int>(x + radius + 2); ++px) {
      const float distance = std::hypot(static_cast<float>(px) - x, static_cast<float>(py) - y);
      Dot(px, py, color, opacity * std::clamp(radius + 0.5f - distance, 0.0f, 1.0f));
    }
  }
}

void CCanvas::Box(int x0, int y0, int x1, int y1, SColor color, float opacity) {
  for (int y = y0; y < y1; ++y) {
    for (int x = x0; x < x1; ++x) Dot(x, y, color, opacity);
  }
}

void CCanvas::Text(int x, int y, std::string_view text, int scale, SColor color) {
  for (const char character : text) {
    if (const std::uint8_t* rows = FindGlyph(character)) {
      for (int row = 0; row < 7; ++row) {
        for (int column = 0; column < 5; ++column) {
          const int left = x + column * scale, top = y + row * scale;
          if ((rows[row] >> (4 - column)) & 1) Box(left, top, left + scale, top + scale, color);
        }
      }
    }
    x += 6 * scale;
  }
}
