#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/samples/random.h"

// Between a and b; t from 0 to 1.
inline float Mix(float a, float b, float t) { return a + (b - a) * t; }

// 0 below `low`, 1 above `high`, smooth between; `low` may lie above `high`.
inline float SmoothStep(float low, float high, float x) {
  const float t = std::clamp((x - low) / (high - low), 0.0f, 1.0f);
  return t * t * (3 - 2 * t);
}

// A bell of height 1 and deviation 1.
inline float Bell(float x) { return std::exp(-0.5f * x * x); }

// A picture of one component in floating point, linear in light (or in dye).
struct SPlane {
  int width = 0, height = 0;
  std::vector<float> values;  // rows from the top

  SPlane() = default;
  SPlane(int w, int h, float value = 0)
      : width(w), height(h), values(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), value) {}

  bool Contains(int x, int y) const { return x >= 0 && y >= 0 && x < width && y < height; }
  float* Row(int y) { return values.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width); }
  const float* Row(int y) const {
    return values.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(width);
  }
};

// Gaussian blur with the border continued; `sigma` in pixels, below 0.3 nothing happens.
void Blur(SPlane* plane, float sigma);

// Adds `amount` of light at a point between pixels, shared among the four around it. Points outside are dropped.
void Splat(SPlane* plane, float x, float y, float amount);

// Calls function(x, y) for every pixel of the plane whose centre lies within `radius` of the point in each direction.
template <class Function>
void ForEachNear(const SPlane& plane, float x, float y, float radius, Function function) {
  const int left = std::max(0, static_cast<int>(std::floor(x - radius))),
            right = std::min(plane.width - 1, static_cast<int>(std::ceil(x + radius)));
  const int top = std::max(0, static_cast<int>(std::floor(y - radius))),
            bottom = std::min(plane.height - 1, static_cast<int>(std::ceil(y + radius)));
  for (int py = top; py <= bottom; ++py) {
    for (int px = left; px <= right; ++px) function(px, py);
  }
}

// A camera that turns light into counts: `gain` counts for light 1, an offset, shot noise and read noise.
struct SCamera {
  float gain = 2500;
  float offset = 100;
  float electronsPerCount = 0.6f;
  float readNoise = 4;  // counts
  int maximum = 4095;   // 12 bits
};

std::vector<std::uint16_t> Expose(const SPlane& light, const SCamera& camera, CRandom& random);

// 0 to 1 becomes 0 to 255, clamped.
std::uint8_t ToByte(float value);
std::vector<std::uint8_t> ToBytes(const SPlane& plane);
