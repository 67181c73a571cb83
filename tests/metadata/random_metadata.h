#pragma once

#include <cstdint>
#include <random>

#include "tests/support/experiments.h"

// Makes metadata of every shape that can be stored, the same from the same seed on every machine.
class CRandomMetadata {
 public:
  explicit CRandomMetadata(std::uint32_t seed) : m_engine(seed) {}

  std::uint32_t Below(std::uint32_t bound) { return static_cast<std::uint32_t>(m_engine() % bound); }
  // Ordinary numbers, zeros of both signs, infinities, NaNs with payloads.
  double Double();
  CQvStringW String();
  qvtest::CExperiment Experiment(unsigned maxDepth = 5);
  SQvPicturePlanes Planes();
  // Changes one field somewhere in the tree.
  void Change(SQvExperiment* experiment);

 private:
  void FillLevel(SQvExperiment* experiment);
  void AddChildren(SQvExperiment* experiment, unsigned maxDepth);

  std::mt19937 m_engine;
};
