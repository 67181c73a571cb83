#pragma once

#include <cstdint>
#include <vector>

#include "metadata/qvexperiment.h"
#include "metadata/qvpictureplanes.h"
#include "tests/support/c_handle.h"

namespace qvtest {

// Owns an experiment with all that hangs on it.
using CExperiment = CHandle<SQvExperiment, SQvExperiment::FreeRecursive>;

CExperiment NewExperiment(std::uint32_t loopType = kQvLoopNone, std::uint32_t loopSize = 0, double step = 0);

// Serialised bytes, or none when saving failed.
std::vector<std::uint8_t> Serialize(const SQvExperiment* experiment);
std::vector<std::uint8_t> Serialize(const SQvPicturePlanes& planes);

// Loads into *result; the status of the load.
std::int32_t Deserialize(const std::vector<std::uint8_t>& bytes, SQvExperiment* result);
std::int32_t Deserialize(const std::vector<std::uint8_t>& bytes, SQvPicturePlanes* result);

}  // namespace qvtest
