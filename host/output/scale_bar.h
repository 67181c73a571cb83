#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "picture/qvpicbuf.h"

namespace qvhost {

// A scale bar: a line as long as what its label says, measured along the picture's width.
struct SScaleBar {
  double micrometres = 0.0;
  double share = 0.0;  // of the picture's width
  std::string label;   // "20 µm"
};

// A bar of a round length (1, 2 or 5 times a power of ten) that takes up to a third of a picture as wide as that; none
// when the width is unknown (0) or no length that anything has.
std::optional<SScaleBar> ChooseScaleBar(double pictureMicrometres);
// A bar of that length; none when it does not fit into the picture.
std::optional<SScaleBar> MakeScaleBar(double micrometres, double pictureMicrometres);

// "50um", "0.2 mm", "100 nm", "1 µm" in micrometres; none for a text that is no length above 0.
std::optional<double> ParseLength(const std::string& text);
// In the unit that leaves the shortest number: "500 nm", "20 µm", "1 mm".
std::string FormatLength(double micrometres);

// Draws the bar with its label into the lower right corner, white with a dark edge so that it stands out from any
// ground. False, picture untouched, when the picture is too small for it. The pixels, 8-bit RGB, are the caller's.
bool DrawScaleBar(const SScaleBar& bar, SQvPicBuf& picture);

}  // namespace qvhost
