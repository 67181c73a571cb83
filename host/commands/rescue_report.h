#pragma once

#include <string>

#include "host/output/progress.h"
#include "host/rescue/salvage.h"

namespace qvhost {

struct SRescueOutcome {
  std::string oldFile, newFile;  // `newFile` is empty when nothing was written
  bool isHeaderSound = true;
  SSalvage salvage;
  int withoutExperiment = 0;  // records whose experiment is lost
  double seconds = 0.0;
};

// Tells what became of each table. Returns the command's exit status.
int PrintRescue(const SRescueOutcome& outcome, bool json);

}  // namespace qvhost
