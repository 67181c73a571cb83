#include "host/commands/scale_bar_choice.h"

#include <fmt/format.h>

#include "host/host_error.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

std::string ReasonForNone(const SScaleBarChoice& choice, const SPictureScale& scale) {
  if (scale.micrometresPerPixel <= 0.0) return "the file does not say how large its pixels are";
  if (choice.length.empty()) return "no length would be right for such a calibration";
  return fmt::format("{} is more than the picture's {}", FormatLength(*ParseLength(choice.length)),
                     FormatLength(scale.PictureWidth()));
}

}  // namespace

void AddScaleBarOptions(CCommand command, SScaleBarChoice* choice) {
  command.AddFlag("--scale-bar", &choice->automatic, "Draw a scale bar of a round length, when the file is calibrated");
  command.AddOption("--scale-bar-length", &choice->length, "Draw one of this length, e.g. 50um, 0.2mm, 100nm")
      .Type("LENGTH");
}

void CheckScaleBar(const SScaleBarChoice& choice) {
  if (choice.length.empty() || ParseLength(choice.length)) return;
  throw CHostError(fmt::format("--scale-bar-length '{}' is no length; write it like 50um, 0.2mm or 100nm",
                               Printable(choice.length)));
}

SDrawnScaleBar DrawWantedScaleBar(const SScaleBarChoice& choice, const SPictureScale& scale, SQvPicBuf& picture) {
  SDrawnScaleBar drawn;
  drawn.isAlongWidth = !scale.HasSquarePixels();
  drawn.bar = choice.length.empty() ? ChooseScaleBar(scale.PictureWidth())
                                    : MakeScaleBar(*ParseLength(choice.length), scale.PictureWidth());
  if (!drawn.bar) {
    drawn.reason = ReasonForNone(choice, scale);
  } else if (!DrawScaleBar(*drawn.bar, picture)) {
    drawn.bar.reset();
    drawn.reason = "the thumbnail is too small for it";
  }
  return drawn;
}

std::string SDrawnScaleBar::Text() const {
  if (!bar) return "no scale bar: " + reason;
  return "scale bar " + bar->label + (isAlongWidth ? ", along the width only: its pixels are not square" : "");
}

CJson SDrawnScaleBar::Json() const {
  if (!bar) return {{"scaleBar", nullptr}, {"noScaleBarBecause", reason}};
  return {
      {"scaleBar", {{"micrometres", bar->micrometres}, {"shareOfWidth", bar->share}, {"squarePixels", !isAlongWidth}}}};
}

}  // namespace qvhost
