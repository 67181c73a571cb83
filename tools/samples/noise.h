#pragma once

#include <array>
#include <cstdint>

#include "tools/samples/random.h"

// Smooth random fields over the plane: gradient noise (K. Perlin, "Improving Noise", SIGGRAPH 2002) and its sums.
class CNoise {
 public:
  explicit CNoise(CRandom& random);

  // About -1 to 1, with features of the size 1; 0 at whole coordinates.
  float At(float x, float y) const;
  // Octaves of halved size and halved height, scaled to about -1 to 1.
  float Fractal(float x, float y, int octaves) const;
  // 0 to 1 with sharp bright ridges: fibres and folds.
  float Ridged(float x, float y, int octaves) const;

 private:
  float Corner(int x, int y, float dx, float dy) const;

  std::array<std::uint8_t, 512> m_order;
};
