#pragma once

#include <functional>
#include <string_view>

namespace qvhost {

// A font of straight strokes on a grid whose capitals are kGlyphHeight units high; y grows downwards from their top.
// Strokes need neither font files nor a library, and stay smooth at any size.
inline constexpr double kGlyphHeight = 6.0;

// The strokes of a UTF-8 text from left to right, in units. Characters that the font lacks are blanks.
void ForEachStroke(std::string_view utf8, const std::function<void(double x1, double y1, double x2, double y2)>& visit);

// Units from the first character's left to the last one's right.
double TextUnits(std::string_view utf8);

}  // namespace qvhost
