#include "tools/samples/angle.h"
#include "tools/samples/cells.h"

namespace {

// A point that wanders on with slowly changing direction, as fibres do.
struct SWalker {
  float x, y, direction;
  float curvature = 0;

  void Step(float length, float stiffness, CRandom& random) {
    curvature = 0.9f * curvature + (1 - stiffness) * random.Normal();
    direction += curvature * length;
    x += length * std::cos(direction);
    y += length * std::sin(direction);
  }
};

}  // namespace

// Interphase and prophase: a flattened ellipsoid with chromatin in clumps (coarser and sharper before mitosis) and dark
// nucleoli.
void CCellScene::RenderNucleus(const SCell& cell, CVolume* volume) const {
  CRandom random(cell.seed, "nucleus");
  const float p = m_pixelsPerMicron;
  const float cosA = std::cos(cell.nucleusAngle), sinA = std::sin(cell.nucleusAngle);
  const bool prophase = Phase(cell) == ECellPhase::kProphase;
  struct SNucleolus {
    float u, v, radius;
  } nucleoli[4];
  for (auto& n : nucleoli) {
    n = {cell.nucleusLong * 0.5f * random.Normal() * 0.7f, cell.nucleusShort * 0.5f * random.Normal() * 0.7f,
         p * static_cast<float>(random.Between(0.6, 1.5))};
  }
  const auto shift = static_cast<float>(cell.seed & 1023);
  const SPlane& shape = volume->Slab(0);
  ForEachNear(shape, cell.x, cell.y, 1.2f * cell.nucleusLong, [&](int x, int y) {
    const float dx = static_cast<float>(x) - cell.x, dy = static_cast<float>(y) - cell.y;
    const float u = dx * cosA + dy * sinA, v = -dx * sinA + dy * cosA;
    const float wobble = 1 + 0.07f * m_noise.At(shift + 2 * std::atan2(v, u), shift);
    const float q = std::hypot(u / cell.nucleusLong, v / cell.nucleusShort) * wobble;
    if (q >= 1) return;
    const float grain = m_noise.Fractal(shift + u / (1.6f * p), shift + v / (1.6f * p), 4);
    float chromatin = prophase ? 0.35f + 1.6f * SmoothStep(0.0f, 0.45f, grain) : 0.8f + 0.75f * grain;
    for (const auto& n : nucleoli)
      chromatin *= prophase ? 1 : 1 - 0.75f * SmoothStep(n.radius, 0.6f * n.radius, std::hypot(u - n.u, v - n.v));
    const float rim = 0.15f * SmoothStep(0.8f, 0.97f, q);
    const float height = 0.36f * std::sqrt(1 - q * q);
    volume->AddColumn(x, y, 0.48f - height, 0.48f + height, cell.strength * (std::max(0.1f, chromatin) + rim));
  });
}

// Metaphase: one plate across the axis. Anaphase: two that move apart.
void CCellScene::RenderChromosomes(const SCell& cell, CVolume* volume) const {
  const float p = m_pixelsPerMicron;
  const float apart = p * 5.5f * SmoothStep(0.7f, 1.0f, cell.progress);
  const float cosA = std::cos(cell.angle), sinA = std::sin(cell.angle);
  const auto shift = static_cast<float>(cell.seed & 1023);
  const SPlane& shape = volume->Slab(0);
  ForEachNear(shape, cell.x, cell.y, 11 * p, [&](int x, int y) {
    const float dx = static_cast<float>(x) - cell.x, dy = static_cast<float>(y) - cell.y;
    const float u = dx * cosA + dy * sinA, v = -dx * sinA + dy * cosA;
    const float edge = 0.35f * m_noise.Fractal(shift + u / (0.9f * p), shift + v / (0.9f * p), 2);
    float q = 1e9f;
    for (const float side : {-apart, apart}) {
      // The arms of the chromosomes trail behind: the plates are bent towards each other.
      const float bend = side == 0 ? 0 : (side > 0 ? -1.0f : 1.0f) * 0.035f * v * v / p * (apart / (5.5f * p));
      q = std::min(q, std::hypot((u - side - bend) / (1.7f * p), v / (6.2f * p)) + edge);
    }
    if (q < 1) volume->AddColumn(x, y, 0.2f, 0.85f, 1.5f * cell.strength * SmoothStep(1.0f, 0.75f, q));
  });
}

// Microtubules grow from the centrosome beside the nucleus to the border, over and under the nucleus.
void CCellScene::RenderTubulin(const SCell& cell, CVolume* volume) const {
  CRandom random(cell.seed, "tubulin");
  const float p = m_pixelsPerMicron;
  const float startAngle = static_cast<float>(random.Between(0, 2 * kPi));
  const float startX = cell.x + 0.95f * cell.nucleusShort * std::cos(startAngle);
  const float startY = cell.y + 0.95f * cell.nucleusShort * std::sin(startAngle);
  const int count = static_cast<int>(60 + 24 * std::min(p, 10.0f));
  const float step = std::max(0.6f, 0.12f * p);
  for (int i = 0; i < count; ++i) {
    SWalker tip{startX + 0.5f * p * random.Normal(), startY + 0.5f * p * random.Normal(),
                static_cast<float>(random.Between(0, 2 * kPi))};
    const auto layer = static_cast<float>(random.Between(0.05, 0.6));
    const float length = cell.spread * static_cast<float>(random.Between(0.7, 1.9));
    for (float gone = 0; gone < length; gone += step) {
      tip.Step(step, 1 - 0.012f / std::sqrt(p), random);
      const float dx = tip.x - cell.x, dy = tip.y - cell.y, distance = std::hypot(dx, dy);
      const float q = distance / Reach(cell, std::atan2(dy, dx));
      if (q > 0.985f) break;
      // Near the border fibres bend along it.
      if (q > 0.88f)
        tip.direction += 0.25f * (std::sin(tip.direction - std::atan2(dy, dx)) >= 0 ? 1.0f : -1.0f) * step / p;
      const float over = SmoothStep(1.1f, 0.6f, distance / cell.nucleusLong);
      const float z = Mix(layer, layer < 0.32f ? 0.04f : 0.9f, over);
      // All fibres meet in the centrosome, which would outshine them.
      const float brightness = 0.12f + 0.88f * SmoothStep(0.0f, 7 * p, gone);
      volume->Add(tip.x, tip.y, z, 0.55f * step * brightness * cell.strength);
    }
  }
}

void CCellScene::RenderSpindle(const SCell& cell, CVolume* volume) const {
  CRandom random(cell.seed, "spindle");
  const float p = m_pixelsPerMicron;
  const float half = p * (6.2f + 3 * SmoothStep(0.7f, 1.0f, cell.progress));
  const float cosA = std::cos(cell.angle), sinA = std::sin(cell.angle);
  const int steps = 60;
  for (int i = 0; i < 130; ++i) {
    const float bulge = 4.2f * p * random.Normal() * 0.55f, end = static_cast<float>(random.Between(0.45, 1.0));
    const float side = random.Chance(0.5) ? 1.0f : -1.0f;
    const auto z = static_cast<float>(random.Between(0.25, 0.75));
    for (int k = 0; k <= steps; ++k) {
      const float t = end * static_cast<float>(k) / steps;
      const float u = side * half * (1 - 1.05f * t), v = bulge * std::sin(kPi * std::min(1.0f, 0.5f * t + 0.02f));
      volume->Add(cell.x + u * cosA - v * sinA, cell.y + u * sinA + v * cosA, z, 0.5f * half / steps * cell.strength);
    }
  }
  for (int i = 0; i < 70; ++i) {  // astral fibres
    const float side = i % 2 ? 1.0f : -1.0f;
    SWalker tip{cell.x + side * half * cosA, cell.y + side * half * sinA,
                static_cast<float>(random.Between(0, 2 * kPi))};
    for (float gone = 0; gone < 5 * p; gone += 0.6f) {
      tip.Step(0.6f, 0.995f, random);
      volume->Add(tip.x, tip.y, 0.5f, 0.22f * cell.strength);
    }
  }
}

// Stress fibres along the cell, a bright cortex, a faint ruffled sheet between.
void CCellScene::RenderActin(const SCell& cell, CVolume* volume) const {
  const float p = m_pixelsPerMicron;
  const float cosA = std::cos(cell.angle), sinA = std::sin(cell.angle);
  const auto shift = static_cast<float>(cell.seed & 1023);
  const bool round = cell.progress >= 0.2f;
  const float spacing = std::max(1.5f * p, 3.0f);
  const SPlane& shape = volume->Slab(0);
  const float farthest = *std::max_element(cell.reach.begin(), cell.reach.end());
  ForEachNear(shape, cell.x, cell.y, farthest + 2, [&](int x, int y) {
    const float dx = static_cast<float>(x) - cell.x, dy = static_cast<float>(y) - cell.y;
    const float distance = std::hypot(dx, dy), reach = Reach(cell, std::atan2(dy, dx));
    const float inside = reach - distance;  // pixels from the border
    if (inside < -1) return;
    const float u = dx * cosA + dy * sinA, v = -dx * sinA + dy * cosA;
    const float bent = v + 2 * p * m_noise.At(shift + u / (14 * p), shift + v / (14 * p));
    const float ridge = m_noise.Ridged(shift + u / (16 * spacing), bent / spacing, 2);
    const float patch = SmoothStep(-0.35f, 0.35f, m_noise.At(shift * 1.3f + u / (9 * p), shift + v / (9 * p)));
    const float fibres = round ? 0 : 3.4f * std::pow(ridge, 7.0f) * patch;
    const float cortex = 1.1f * Bell((inside - 0.6f * p) / std::max(0.45f * p, 1.0f)) *
                         (round ? 0.8f : 0.75f + 0.5f * m_noise.At(dx / (3 * p), dy / (3 * p)));
    const float sheet =
        0.10f + 0.06f * m_noise.Fractal(static_cast<float>(x) / (2 * p), static_cast<float>(y) / (2 * p), 3);
    const float mask = SmoothStep(-1.0f, 1.0f, inside);
    const float flat = SmoothStep(0.1f, 0.7f, distance / reach);
    volume->AddColumn(x, y, 0.0f, round ? 0.4f : 0.22f, mask * cell.strength * (fibres + cortex));
    volume->AddColumn(x, y, 0.0f, Mix(0.9f, 0.2f, flat), mask * cell.strength * sheet);
  });
}

// Short winding threads, dense around the nucleus.
void CCellScene::RenderMitochondria(const SCell& cell, CVolume* volume) const {
  CRandom random(cell.seed, "mitochondria");
  const float p = m_pixelsPerMicron;
  const int count = 130;
  const float step = std::max(0.5f, 0.1f * p);
  for (int i = 0; i < count; ++i) {
    const auto angle = static_cast<float>(random.Between(0, 2 * kPi));
    const float reach = Reach(cell, angle), inner = std::min(0.55f * reach, 0.9f * cell.nucleusLong);
    const auto part = static_cast<float>(random.Unit());
    const float distance = Mix(inner, 0.9f * reach, part * part);
    SWalker tip{cell.x + distance * std::cos(angle), cell.y + distance * std::sin(angle),
                angle + 0.9f * random.Normal()};
    const auto z = static_cast<float>(random.Between(0.1, 0.5));
    const float length = p * static_cast<float>(random.Between(1.0, 5.0));
    for (float gone = 0; gone < length; gone += step) {
      tip.Step(step, 1 - 0.09f / std::sqrt(p), random);
      if (std::hypot(tip.x - cell.x, tip.y - cell.y) > 0.95f * Reach(cell, std::atan2(tip.y - cell.y, tip.x - cell.x)))
        break;
      const float wide = 0.16f * p;
      const float y = tip.y + wide * random.Normal(), x = tip.x + wide * random.Normal();
      volume->Add(x, y, z, 1.3f * step * cell.strength);
    }
  }
}
