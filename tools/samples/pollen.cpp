#include "tools/samples/angle.h"
#include "tools/samples/electron.h"
#include "tools/samples/noise.h"

namespace {

constexpr float kFarAway = -1e9f;

struct SGrain {
  float x, y, z, radius, turn;
  bool spiny;
};

// A landscape of heights seen from above; what is nearer hides what is below.
class CPollenPainter {
 public:
  CPollenPainter(int width, int height, std::uint64_t seed)
      : m_height(width, height, kFarAway),
        m_detail(width, height),
        m_random(seed, "pollen"),
        m_noise(m_random),
        m_unit(static_cast<float>(width) / 1024) {}

  SPlane Paint();

 private:
  void PaintGround();
  void PaintGrain(const SGrain& grain);
  float Surface(const SGrain& grain, float nx, float ny, float nz) const;
  SPlane Shade() const;

  SPlane m_height;
  SPlane m_detail;  // brightness of the material
  CRandom m_random;
  CNoise m_noise;
  const float m_unit;
};

void CPollenPainter::PaintGround() {
  for (int y = 0; y < m_height.height; ++y) {
    for (int x = 0; x < m_height.width; ++x) {
      const float u = static_cast<float>(x) / m_unit, v = static_cast<float>(y) / m_unit;
      m_height.Row(y)[x] = m_unit * (-120 + 10 * m_noise.Fractal(u / 90, v / 90, 4));
      m_detail.Row(y)[x] = 0.35f;
    }
  }
}

// Relief of the wall in parts of the radius. Spines sit on a spiral with equal area for each (the golden angle).
float CPollenPainter::Surface(const SGrain& grain, float nx, float ny, float nz) const {
  const float fine = 0.010f * m_noise.Fractal(30 * nx + grain.turn, 30 * ny + 13 * nz, 2);
  if (!grain.spiny) {
    const float net = m_noise.Ridged(5 * nx + grain.turn, 5 * ny + 3 * nz, 1);
    return fine + 0.06f * std::pow(net, 4.0f);
  }
  constexpr int kSpines = 150;
  const float golden = kPi * (3 - std::sqrt(5.0f));
  float best = 0;
  for (int i = 0; i < kSpines; ++i) {
    const float z = 1 - 2 * (static_cast<float>(i) + 0.5f) / kSpines, ring = std::sqrt(1 - z * z);
    const float angle = golden * static_cast<float>(i) + grain.turn;
    const float closeness = nx * ring * std::cos(angle) + ny * z + nz * ring * std::sin(angle);
    best = std::max(best, SmoothStep(0.985f, 1.0f, closeness));
  }
  return fine + 0.08f * best;
}

void CPollenPainter::PaintGrain(const SGrain& grain) {
  const float reach = grain.radius * (grain.spiny ? 1.09f : 1.07f);
  ForEachNear(m_height, grain.x, grain.y, reach, [&](int x, int y) {
    const float u = (static_cast<float>(x) - grain.x) / reach, v = (static_cast<float>(y) - grain.y) / reach;
    const float square = 1 - u * u - v * v;
    if (square <= 0) return;
    const float relief = Surface(grain, u, v, std::sqrt(square));
    // The surface point over this pixel lies on a sphere swollen by the relief.
    const float scale = grain.radius / reach * (1 + relief);
    const float depth = scale * scale - u * u - v * v;
    if (depth <= 0) return;
    const float height = grain.z + reach * std::sqrt(depth);
    if (height <= m_height.Row(y)[x]) return;
    m_height.Row(y)[x] = height;
    m_detail.Row(y)[x] = 0.5f + 1.6f * relief;
  });
}

// Secondary electrons leave most easily where the surface is steep and where nothing towers above.
SPlane CPollenPainter::Shade() const {
  SPlane around = m_height;
  Blur(&around, 24 * m_unit);
  SPlane light(m_height.width, m_height.height);
  for (int y = 0; y < light.height; ++y) {
    const float *above = m_height.Row(std::max(0, y - 1)), *row = m_height.Row(y),
                *below = m_height.Row(std::min(light.height - 1, y + 1));
    for (int x = 0; x < light.width; ++x) {
      const float slopeX = 0.5f * (row[std::min(light.width - 1, x + 1)] - row[std::max(0, x - 1)]),
                  slopeY = 0.5f * (below[x] - above[x]);
      const float facing = 1 / std::sqrt(1 + slopeX * slopeX + slopeY * slopeY);
      const float edge = std::min(0.55f, 0.30f * (1 / std::max(facing, 0.2f) - 1));
      const float detector = 0.10f * (-slopeX - 0.6f * slopeY) * facing;
      const float open = SmoothStep(-70 * m_unit, 25 * m_unit, row[x] - around.Row(y)[x]);
      light.Row(y)[x] = (0.25f + 0.75f * open) * (0.75f * m_detail.Row(y)[x] + edge + detector);
    }
  }
  return light;
}

SPlane CPollenPainter::Paint() {
  PaintGround();
  const int count = 26;
  for (int i = 0; i < count; ++i) {
    SGrain grain{};
    grain.x = static_cast<float>(m_random.Between(-0.02, 1.02) * m_height.width);
    grain.y = static_cast<float>(m_random.Between(-0.02, 1.02) * m_height.height);
    grain.radius =
        m_unit * static_cast<float>(m_random.Chance(0.4) ? m_random.Between(85, 130) : m_random.Between(40, 70));
    grain.z = m_unit * (-110 + 0.6f * 110 * static_cast<float>(m_random.Unit())) + 0.6f * grain.radius;
    grain.turn = static_cast<float>(m_random.Between(0, 50));
    grain.spiny = grain.radius > 80 * m_unit ? m_random.Chance(0.7) : m_random.Chance(0.2);
    PaintGrain(grain);
  }
  SPlane light = Shade();
  Blur(&light, 0.7f * m_unit);
  for (float& value : light.values) value = std::clamp(value + 0.022f * m_random.Normal(), 0.0f, 1.0f);
  return light;
}

}  // namespace

SPlane RenderPollen(int width, int height, std::uint64_t seed) { return CPollenPainter(width, height, seed).Paint(); }
