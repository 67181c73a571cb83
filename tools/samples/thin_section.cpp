#include "tools/samples/angle.h"
#include "tools/samples/electron.h"
#include "tools/samples/noise.h"

namespace {

// Everything dark in the picture is stain: the painter adds up density, which is turned into grey at the end.
class CSectionPainter {
 public:
  CSectionPainter(int width, int height, std::uint64_t seed)
      : m_density(width, height),
        m_random(seed, "thin section"),
        m_noise(m_random),
        m_unit(static_cast<float>(width) / 1024) {}

  SPlane Paint();

 private:
  struct SOrganelle {
    float x, y, radius;
  };
  void PaintCytoplasm();
  void PaintNucleus();
  void PaintMitochondrion(float x, float y, float longRadius, float shortRadius, float angle);
  void PaintVesicle(float x, float y, float radius, bool dense);
  bool InNucleus(float x, float y, float margin) const;

  SPlane m_density;
  CRandom m_random;
  CNoise m_noise;
  const float m_unit;  // pixels of a picture 1024 wide
  float m_nucleusX = 0, m_nucleusY = 0, m_nucleusRadius = 1;
};

bool CSectionPainter::InNucleus(float x, float y, float margin) const {
  return std::hypot(x - m_nucleusX, y - m_nucleusY) < 1.12f * m_nucleusRadius + margin;
}

// Granular ground, membranes of the reticulum as level lines of a smooth field, studded with ribosomes.
void CSectionPainter::PaintCytoplasm() {
  for (int y = 0; y < m_density.height; ++y) {
    for (int x = 0; x < m_density.width; ++x) {
      const float u = static_cast<float>(x) / m_unit, v = static_cast<float>(y) / m_unit;
      const float bendX = 40 * m_noise.At(u / 130, v / 130), bendY = 40 * m_noise.At(u / 130 + 31, v / 130);
      const float field = 3.4f * m_noise.Fractal((u + bendX) / 260 + 11, (v + bendY) / 120, 2);
      const float rough = SmoothStep(-0.05f, 0.25f, m_noise.Fractal(u / 210 + 70, v / 210, 2));
      // Pairs of membranes: two lines at either side of each whole value.
      const float phase = std::fabs(field * 4 - std::round(field * 4));
      const float membrane = rough * Bell((phase - 0.16f) / 0.045f);
      const float ribosomes =
          rough * SmoothStep(0.35f, 0.6f, m_noise.At(u / 3.1f, v / 3.1f)) * Bell((phase - 0.30f) / 0.08f);
      const float grain = m_noise.Fractal(u / 4, v / 4, 3);
      m_density.Row(y)[x] = 0.30f + 0.15f * grain + 0.50f * membrane + 0.45f * ribosomes;
    }
  }
}

// Patches of dense chromatin, most of it at the envelope, which is a double membrane with pores.
void CSectionPainter::PaintNucleus() {
  const auto side = static_cast<float>(m_random.Below(4));
  m_nucleusRadius = static_cast<float>(m_random.Between(300, 400)) * m_unit;
  m_nucleusX = (side < 2 ? 0.1f : 0.9f) * static_cast<float>(m_density.width);
  m_nucleusY = (static_cast<int>(side) % 2 == 0 ? 0.15f : 0.85f) * static_cast<float>(m_density.height);
  for (int y = 0; y < m_density.height; ++y) {
    for (int x = 0; x < m_density.width; ++x) {
      const float dx = static_cast<float>(x) - m_nucleusX, dy = static_cast<float>(y) - m_nucleusY;
      const float angle = std::atan2(dy, dx);
      const float border =
          m_nucleusRadius * (1 + 0.10f * m_noise.Fractal(5 + 1.5f * std::cos(angle), 5 + 1.5f * std::sin(angle), 3));
      const float depth = (border - std::hypot(dx, dy)) / m_unit;  // from the envelope inwards
      if (depth < -12) continue;
      const float u = static_cast<float>(x) / m_unit, v = static_cast<float>(y) / m_unit;
      const float clump =
          SmoothStep(0.02f, 0.28f, m_noise.Fractal(u / 75, v / 75, 4) + 0.75f * Bell(depth / 22) - 0.12f);
      const float inner = 0.22f + 0.12f * m_noise.Fractal(u / 6, v / 6, 3) + 0.38f * clump;
      const float pore = SmoothStep(0.80f, 0.9f, std::cos(angle * 46));
      const float envelope = (1 - pore) * (Bell((depth - 1) / 2.2f) + Bell((depth + 8) / 2.2f));
      const float gap = (1 - pore) * 0.22f * Bell((depth + 3.5f) / 2.5f);
      float& value = m_density.Row(y)[x];
      value = Mix(value, inner, SmoothStep(-1.0f, 1.0f, depth)) + 0.45f * envelope - gap;
    }
  }
}

// Two membranes; the inner one folded into cristae across the long axis.
void CSectionPainter::PaintMitochondrion(float x, float y, float longRadius, float shortRadius, float angle) {
  const float cosA = std::cos(angle), sinA = std::sin(angle);
  const auto shift = static_cast<float>(m_random.Between(0, 200));
  ForEachNear(m_density, x, y, 1.3f * longRadius, [&](int px, int py) {
    const float dx = static_cast<float>(px) - x, dy = static_cast<float>(py) - y;
    const float u = (dx * cosA + dy * sinA), v = -dx * sinA + dy * cosA;
    const float wobble = 1 + 0.14f * m_noise.At(shift + 1.5f * u / longRadius, shift + 1.5f * v / shortRadius);
    // A rounded rod rather than an ellipse.
    const float q =
        std::pow(std::pow(std::fabs(u) / longRadius, 3.0f) + std::pow(std::fabs(v) / shortRadius, 3.0f), 1 / 3.0f) *
        wobble;
    const float depth = (1 - q) * shortRadius / m_unit;
    if (depth < -4) return;
    const float wave = u / m_unit / 13 + 0.9f * m_noise.At(shift + u / m_unit / 40, v / m_unit / 22);
    const float fold = Bell((std::fabs(wave - std::round(wave)) - 0.13f) / 0.06f);
    const float length = 0.45f + 0.5f * m_noise.At(shift + std::round(wave) * 3.7f, 0.5f);
    const float reaches = SmoothStep(
        length + 0.25f, length,
        (std::round(wave) * 0.5f - std::floor(std::round(wave) * 0.5f) > 0 ? 1 : -1) * v / shortRadius + 0.1f);
    const float cristae = SmoothStep(5.0f, 9.0f, depth) * fold * reaches;
    const float matrix = 0.43f + 0.10f * m_noise.Fractal(u / m_unit / 4 + shift, v / m_unit / 4, 2);
    const float membranes = Bell((depth - 1) / 1.3f) + 0.8f * Bell((depth - 6.5f) / 1.3f);
    float& value = m_density.Row(py)[px];
    value = Mix(value, matrix + 0.36f * cristae + 0.42f * membranes, SmoothStep(-2.0f, 0.0f, depth));
  });
}

void CSectionPainter::PaintVesicle(float x, float y, float radius, bool dense) {
  ForEachNear(m_density, x, y, radius + 4 * m_unit, [&](int px, int py) {
    const float depth = (radius - std::hypot(static_cast<float>(px) - x, static_cast<float>(py) - y)) / m_unit;
    if (depth < -3) return;
    float& value = m_density.Row(py)[px];
    const float core = dense ? 0.85f * SmoothStep(4.0f, 7.0f, depth) : 0;
    value = Mix(value, 0.14f + core + 0.5f * Bell(depth / 1.4f), SmoothStep(-2.0f, 0.0f, depth));
  });
}

SPlane CSectionPainter::Paint() {
  PaintCytoplasm();
  PaintNucleus();
  const auto width = static_cast<float>(m_density.width), height = static_cast<float>(m_density.height);
  std::vector<SOrganelle> taken;
  for (int i = 0; i < 400 && taken.size() < 16; ++i) {
    const float x = width * static_cast<float>(m_random.Unit()), y = height * static_cast<float>(m_random.Unit());
    const float radius = m_unit * static_cast<float>(m_random.Between(55, 105));
    const bool free =
        !InNucleus(x, y, 0.6f * radius) && std::none_of(taken.begin(), taken.end(), [&](const auto& other) {
          return std::hypot(other.x - x, other.y - y) < 0.85f * (radius + other.radius);
        });
    if (!free) continue;
    taken.push_back({x, y, radius});
    const float angle = kPi * static_cast<float>(m_random.Unit());
    PaintMitochondrion(x, y, radius, radius * static_cast<float>(m_random.Between(0.42, 0.65)), angle);
  }
  for (int i = 0; i < 90; ++i) {
    const float x = width * static_cast<float>(m_random.Unit()), y = height * static_cast<float>(m_random.Unit());
    const bool free = !InNucleus(x, y, 15 * m_unit) && std::none_of(taken.begin(), taken.end(), [&](const auto& other) {
      return std::hypot(other.x - x, other.y - y) < 1.1f * other.radius;
    });
    if (!free) continue;
    const bool dense = m_random.Chance(0.25);
    PaintVesicle(x, y, m_unit * static_cast<float>(m_random.Between(7, 17)), dense);
  }
  Blur(&m_density, 0.8f * m_unit);
  for (float& value : m_density.values)
    value = std::clamp(std::exp(-1.75f * value) + 0.035f * m_random.Normal(), 0.0f, 1.0f);
  return m_density;
}

}  // namespace

SPlane RenderThinSection(int width, int height, std::uint64_t seed) {
  return CSectionPainter(width, height, seed).Paint();
}
