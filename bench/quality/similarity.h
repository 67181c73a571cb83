#pragma once

#include <cstdint>
#include <span>

// Of two pictures of 8 bits, three components, rows packed. Peak signal to noise in decibels, 99 for equal pictures.
double PeakSignalToNoise(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b);

// Structural similarity, 1 for equal pictures: the mean over windows of 8 x 8 pixels, four apart, and the components.
double StructuralSimilarity(std::span<const std::uint8_t> a, std::span<const std::uint8_t> b, int width, int height);
