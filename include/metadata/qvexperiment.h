#pragma once

#include <cstdint>
#include <vector>

#include "system/qvexport.h"
#include "system/qvlitevariant.h"
#include "system/qvstring.h"

// Kinds of acquisition loops. Readers group them: time (1, 8, 9), stage positions (2, 3), z (4, 10), channels (6).
enum EQvLoopType : std::uint32_t {
  kQvLoopNone = 0,
  kQvLoopTime = 1,        // equidistant time points
  kQvLoopXYPosition = 2,  // listed stage positions
  kQvLoopXYMosaic = 3,    // a grid of fields
  kQvLoopZ = 4,           // z stack
  kQvLoopPolar = 5,       // rotation
  kQvLoopLambda = 6,      // channels
  kQvLoopCustom = 7,
  kQvLoopTimePhases = 8,  // time in phases, each with its own interval
  kQvLoopTimeManual = 9,  // time points taken by hand
  kQvLoopZManual = 10,    // z positions taken by hand
};

struct SQvStagePosition {
  double x = 0.0, y = 0.0, z = 0.0;  // micrometres
  CQvStringW name;
};

struct SQvExperimentChannel {
  CQvStringW name;
  std::uint32_t color = 0;            // 0x00RRGGBB
  double excitationWavelength = 0.0;  // nanometres, 0 unknown
  double emissionWavelength = 0.0;    // nanometres, 0 unknown
  double exposureTime = 0.0;          // milliseconds, 0 unknown
};

// One level of an acquisition's loops, with the loops that run inside it. Levels are made by Alloc and own their
// sub-experiments; FreeRecursive gives a level and all below back. Not synchronised.
struct QV_METADATA_API SQvExperiment {
  std::uint32_t loopType = kQvLoopNone;  // EQvLoopType; unknown values are kept
  std::uint32_t loopSize = 0;            // steps
  // Time loops: seconds between time points. Z loops: micrometres between planes. Else 0.
  double step = 0.0;
  std::vector<SQvStagePosition> positions;     // stage-position loops
  std::vector<SQvExperimentChannel> channels;  // lambda loops
  std::vector<SQvExperiment*> subExperiments;  // owned; null entries are allowed

  // A new empty level in *experiment; null when memory is out.
  static void Alloc(SQvExperiment** experiment);
  // Frees the level and everything below it; null is allowed.
  static void FreeRecursive(SQvExperiment* experiment);

  // Writes the tree into the writer's current level. Deterministic. 0, or -9 for null or a tree deeper than 32 levels
  // (nothing is written then).
  static std::int32_t SaveToLiteVariant(CQvLiteVariantW& writer, const SQvExperiment* experiment);
  // Fills the level from the reader's current level. 0, or -9 with *experiment emptied (malformed, too deep, missing).
  static std::int32_t LoadFromLiteVariant(SQvExperiment* experiment, CQvLiteVariantR& reader);

  // Compares two trees: always loop types and sizes of the top level. `details` adds steps, positions and channels
  // (doubles by their bits, so that equal means: serialises to the same bytes); `recursive` adds the sub-experiments.
  // Two nulls are equal, a null and a tree are not.
  static bool IsEqual(const SQvExperiment* a, const SQvExperiment* b, bool details, bool recursive);

  SQvExperiment() = default;
  SQvExperiment(const SQvExperiment&) = delete;
  SQvExperiment& operator=(const SQvExperiment&) = delete;
  ~SQvExperiment();  // frees the sub-experiments
};

class QV_METADATA_API CQvExperimentAPI {
 public:
  // Number of steps of one loop level: loopSize, or for a position loop without one the number of positions, for a
  // lambda loop without one the number of channels. 0 for null.
  static std::uint32_t GetLoopSize(const SQvExperiment* experiment);
  // 32-bit hash of the whole tree, equal for trees that IsEqual(a, b, true, true) finds equal, the same on every
  // machine (CRC-32 of ISO 3309 over the serialised bytes). 0 for null and for a tree that cannot be serialised.
  static std::uint32_t GetExperimentHash(const SQvExperiment* experiment);
};
