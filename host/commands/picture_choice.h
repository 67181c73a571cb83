#pragma once

#include <string>

#include "host/commands/command_line.h"
#include "host/output/picture.h"

namespace qvhost {

// How a verb writes its picture, as the user said it.
struct SPictureChoice {
  std::string format;   // png, jpg; empty: as the output's name says
  int jpegQuality = 0;  // 0: not said

  // Of a picture that goes there. Throws CHostError when what was said does not go together.
  SPictureFormat For(const COutputTarget& target) const;
};

void AddPictureOptions(CCommand command, SPictureChoice* choice);

}  // namespace qvhost
