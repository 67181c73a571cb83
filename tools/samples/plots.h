#pragma once

#include <cstdint>

#include "tools/samples/png_encoder.h"

// Diagrams as analysis scripts write them.

// Curves with error bands on a transparent ground: 8-bit RGBA.
SPngImage DrawCurves(int width, int height, std::uint64_t seed);
// A scatter plot in few colours: a palette, interlaced.
SPngImage DrawScatter(int width, int height, std::uint64_t seed);
// A height map of 16-bit grey, as a profilometer exports it.
SPngImage DrawHeightMap(int width, int height, std::uint64_t seed);
// A heat map of a correlation matrix: 16-bit RGB.
SPngImage DrawHeatMap(int width, int height, std::uint64_t seed);
