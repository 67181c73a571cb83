#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#include "metadata/qvexperiment.h"
#include "metadata/qvpictureplanes.h"

struct SExperimentFree {
  void operator()(SQvExperiment* experiment) const { SQvExperiment::FreeRecursive(experiment); }
};
using ExperimentPtr = std::unique_ptr<SQvExperiment, SExperimentFree>;

ExperimentPtr NewExperiment(std::uint32_t loopType = kQvLoopNone, std::uint32_t loopSize = 0, double step = 0);

// Serialised bytes, or none when saving failed.
std::vector<std::uint8_t> Serialize(const SQvExperiment* experiment);
std::vector<std::uint8_t> Serialize(const SQvPicturePlanes& planes);

// Loads into *result; the status of the load.
std::int32_t Deserialize(const std::vector<std::uint8_t>& bytes, SQvExperiment* result);
std::int32_t Deserialize(const std::vector<std::uint8_t>& bytes, SQvPicturePlanes* result);

// Makes metadata of every shape that can be stored, the same from the same seed on every machine.
class CRandomMetadata {
 public:
  explicit CRandomMetadata(std::uint32_t seed) : m_engine(seed) {}

  std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(m_engine() % bound); }
  // Ordinary numbers, zeros of both signs, infinities, NaNs with payloads.
  double Double();
  CQvStringW String();
  ExperimentPtr Experiment(unsigned maxDepth = 5);
  SQvPicturePlanes Planes();
  // Changes one field somewhere in the tree.
  void Change(SQvExperiment* experiment);

 private:
  void FillLevel(SQvExperiment* experiment);
  void AddChildren(SQvExperiment* experiment, unsigned maxDepth);

  std::mt19937 m_engine;
};
