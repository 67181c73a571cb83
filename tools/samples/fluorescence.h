#pragma once

#include "tools/samples/context.h"
#include "tools/samples/stack.h"

enum class EFluorescence { kCells, kNeurons };

struct SFieldOptions {
  int width = 512, height = 512;
  double pixelSize = 0.1625;
  int channels = 3;  // 1 to 4 of cells, 1 to 3 of neurons
  int sizeZ = 1, sizeT = 1;
  double dividing = 0.06;  // part of the cells that divide
};

// What a camera records of a field of cells or neurons; neurons have neither z nor time.
SStack MakeField(EFluorescence kind, const SFieldOptions& options, std::uint64_t seed);

// The named files: a z stack, a time series, several stage positions in one file.
void MakeFluorescenceExperiments(const SContext& context);
// One of many fields of a screen, as an OME-TIFF.
void MakeScreenField(const SContext& context, int number);
// One of many fields of neurons.
void MakeNeuronField(const SContext& context, int number);
