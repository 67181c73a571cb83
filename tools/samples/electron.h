#pragma once

#include <cstdint>

#include "tools/samples/plane.h"

// Grey pictures as electron microscopes make them, 0 black to 1 white.

// A thin section of a cell in transmission: nucleus, mitochondria, endoplasmic reticulum, vesicles.
SPlane RenderThinSection(int width, int height, std::uint64_t seed);

// Pollen grains in a scanning microscope: bright edges, spines, deep shadows between.
SPlane RenderPollen(int width, int height, std::uint64_t seed);
