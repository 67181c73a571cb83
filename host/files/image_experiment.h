#pragma once

#include <memory>
#include <string>

#include "metadata/qvexperiment.h"
#include "metadata/qvpictureplanes.h"

namespace qvhost {

struct SExperimentFree {
  void operator()(SQvExperiment* experiment) const noexcept { SQvExperiment::FreeRecursive(experiment); }
};
using CExperimentPtr = std::unique_ptr<SQvExperiment, SExperimentFree>;

// How an image was acquired, as its file says.
struct SImageExperiment {
  CExperimentPtr experiment;  // null: a single picture, without loops
  SQvPicturePlanes planes;
  double acquisitionTime = 0.0;  // Julian day number, 0 unknown

  // Reads it with an image-format manager of the host's own. `path` is absolute. False with the reason when the file
  // cannot be read.
  bool Read(const std::string& path, std::string* reason);
};

}  // namespace qvhost
