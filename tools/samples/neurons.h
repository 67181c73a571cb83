#pragma once

#include <cstdint>

#include "tools/samples/volume.h"

// Neurons in culture: bodies, branching dendrites with spines, thin axons that cross the field, and synapses along
// them.
struct SNeuronVolumes {
  CVolume nuclei, dendrites, synapses;
};

// Renders with one slab each. `pixelSize` in micrometres.
SNeuronVolumes RenderNeurons(int width, int height, double pixelSize, std::uint64_t seed);
