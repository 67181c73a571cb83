#pragma once

#include <string>

#include "host/output/json.h"
#include "metadata/qvexperiment.h"
#include "metadata/qvpictureplanes.h"

namespace qvhost {

// "T 10 x Z 5 x channels 3": the first chain of loops, outermost first.
std::string SummarizeLoops(const SQvExperiment& experiment);
// The loops as an indented list with their steps, positions and channels.
void PrintExperiment(const SQvExperiment& experiment, const SQvPicturePlanes& planes);
CJson ExperimentJson(const SQvExperiment& experiment, const SQvPicturePlanes& planes);

}  // namespace qvhost
