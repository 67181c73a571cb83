#pragma once

#include <string>
#include <vector>

#include "host/commands/command.h"
#include "host/find/picture_query.h"

namespace qvhost {

// Which pictures are wanted, as the user said it.
struct SFindChoice {
  std::vector<std::string> words;
  std::string objective, channels, z, t, pixelSize, size;
  STimeRange acquired;
  std::string user, under;
  int experiment = 0;
  bool hasExperiment = false;

  // Throws CHostError for what is no range, size, length or time, and when nothing was said.
  SPictureQuery Query() const;
};

void AddFindChoice(CCommand command, SFindChoice* choice);

}  // namespace qvhost
