#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "picture/qvpicbuf.h"

namespace qvhost {

// Drawing into 8-bit RGB pictures that the caller owns. What lies outside of the picture is left out.

using SRgbColor = std::array<std::uint8_t, 3>;
inline constexpr SRgbColor kWhiteInk = {255, 255, 255};
inline constexpr SRgbColor kBlackInk = {0, 0, 0};

struct SDrawPoint {
  double x = 0.0, y = 0.0;  // pixels from the top left corner
};

struct SDrawBox {
  std::int64_t x = 0, y = 0, width = 0, height = 0;  // pixels
};

void FillBox(SQvPicBuf& picture, const SDrawBox& box, const SRgbColor& color);
// A line with round ends, smoothed at its edges.
void DrawLine(SQvPicBuf& picture, SDrawPoint from, SDrawPoint to, double thickness, const SRgbColor& color);

// A text in a font of strokes: capitals, digits, the letters of units of length, point, hyphen; other characters are
// blanks.
struct STextStyle {
  double height = 10.0;  // of a capital, in pixels
  SRgbColor color = kWhiteInk;
  bool outlined = false;  // in black, to stand out from any ground
};
// Pixels from the first stroke's left edge to the last one's right edge.
double TextWidth(std::string_view utf8, double height);
// `corner` is the top left one of the capitals.
void DrawText(SQvPicBuf& picture, SDrawPoint corner, std::string_view utf8, const STextStyle& style);

}  // namespace qvhost
