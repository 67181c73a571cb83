#pragma once

#include <optional>
#include <string>

#include "host/commands/command_line.h"
#include "host/files/picture_scale.h"
#include "host/output/json.h"
#include "host/output/scale_bar.h"

namespace qvhost {

// Whether a picture is to have a scale bar, as the user said it.
struct SScaleBarChoice {
  bool automatic = false;  // --scale-bar
  std::string length;      // --scale-bar-length

  bool IsWanted() const noexcept { return automatic || !length.empty(); }
};
void AddScaleBarOptions(CCommand command, SScaleBarChoice* choice);
// Throws CHostError for a length that is none.
void CheckScaleBar(const SScaleBarChoice& choice);

// What became of the wish.
struct SDrawnScaleBar {
  std::optional<SScaleBar> bar;
  std::string reason;         // why there is none
  bool isAlongWidth = false;  // the pixels are not square, so that it measures in that direction only

  // A clause for people, and the fields of a document.
  std::string Text() const;
  CJson Json() const;
};
// Draws the wanted bar into a thumbnail, 8-bit RGB, of a picture of that scale.
SDrawnScaleBar DrawWantedScaleBar(const SScaleBarChoice& choice, const SPictureScale& scale, SQvPicBuf& picture);

}  // namespace qvhost
