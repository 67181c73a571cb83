#include "tools/samples/noise.h"

#include <cmath>
#include <numeric>
#include <utility>

#include "tools/samples/plane.h"

CNoise::CNoise(CRandom& random) {
  std::iota(m_order.begin(), m_order.begin() + 256, std::uint8_t{0});
  for (int i = 255; i > 0; --i)
    std::swap(m_order[static_cast<std::size_t>(i)], m_order[static_cast<std::size_t>(random.Below(i + 1))]);
  for (std::size_t i = 0; i < 256; ++i) m_order[256 + i] = m_order[i];
}

float CNoise::Corner(int x, int y, float dx, float dy) const {
  static constexpr float kGradients[8][2] = {{1, 0},
                                             {-1, 0},
                                             {0, 1},
                                             {0, -1},
                                             {0.7071f, 0.7071f},
                                             {-0.7071f, 0.7071f},
                                             {0.7071f, -0.7071f},
                                             {-0.7071f, -0.7071f}};
  const float* gradient =
      kGradients[m_order[m_order[static_cast<std::size_t>(x & 255)] + static_cast<std::size_t>(y & 255)] & 7];
  return gradient[0] * dx + gradient[1] * dy;
}

float CNoise::At(float x, float y) const {
  const float floorX = std::floor(x), floorY = std::floor(y);
  const int ix = static_cast<int>(floorX), iy = static_cast<int>(floorY);
  const float dx = x - floorX, dy = y - floorY;
  const auto fade = [](float t) { return t * t * t * (t * (t * 6 - 15) + 10); };
  const float u = fade(dx), v = fade(dy);
  const float top = Mix(Corner(ix, iy, dx, dy), Corner(ix + 1, iy, dx - 1, dy), u);
  const float bottom = Mix(Corner(ix, iy + 1, dx, dy - 1), Corner(ix + 1, iy + 1, dx - 1, dy - 1), u);
  return 1.4f * Mix(top, bottom, v);
}

float CNoise::Fractal(float x, float y, int octaves) const {
  float sum = 0, height = 1, total = 0;
  for (int i = 0; i < octaves; ++i) {
    sum += height * At(x, y);
    total += height;
    height *= 0.5f;
    // Not exactly 2: the zeros at whole coordinates must not pile up.
    x = x * 2.03f + 17.3f;
    y = y * 2.03f + 5.7f;
  }
  return sum / total;
}

float CNoise::Ridged(float x, float y, int octaves) const {
  float sum = 0, height = 1, total = 0;
  for (int i = 0; i < octaves; ++i) {
    const float ridge = 1 - std::fabs(At(x, y));
    sum += height * ridge * ridge;
    total += height;
    height *= 0.5f;
    x = x * 2.03f + 11.9f;
    y = y * 2.03f + 3.1f;
  }
  return sum / total;
}
