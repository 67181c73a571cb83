#include "tools/samples/neurons.h"

#include "tools/samples/angle.h"

namespace {

class CNeuronPainter {
 public:
  CNeuronPainter(SNeuronVolumes* volumes, float pixelsPerMicron, std::uint64_t seed)
      : m_volumes(*volumes), m_p(pixelsPerMicron), m_random(seed, "neurons") {}

  void PaintField();

 private:
  void PaintNeuron(float x, float y);
  void PaintBody(float x, float y, float angle);
  // A dendrite of that thickness (micrometres) that thins out and branches; `depth` is the number of branchings left.
  void PaintDendrite(float x, float y, float direction, float thickness, int depth);
  void PaintSpine(float x, float y, float direction, float thickness);
  void PaintAxon(float x, float y, float direction);

  SNeuronVolumes& m_volumes;
  const float m_p;  // pixels per micrometre
  CRandom m_random;
};

void CNeuronPainter::PaintField() {
  const auto width = static_cast<float>(m_volumes.dendrites.Width()),
             height = static_cast<float>(m_volumes.dendrites.Height());
  const float area = width * height / (m_p * m_p);
  const int count = std::max(2, static_cast<int>(area / 9000));
  for (int i = 0; i < count; ++i) {
    const float y = height * static_cast<float>(m_random.Between(0.08, 0.92));
    PaintNeuron(width * static_cast<float>(m_random.Between(0.08, 0.92)), y);
  }
  for (int i = 0; i < 2 * count; ++i) {
    const float direction = 2 * kPi * static_cast<float>(m_random.Unit());
    const float y = height * static_cast<float>(m_random.Unit());
    PaintAxon(width * static_cast<float>(m_random.Unit()), y, direction);
  }
}

void CNeuronPainter::PaintNeuron(float x, float y) {
  const auto angle = static_cast<float>(m_random.Between(0, 2 * kPi));
  PaintBody(x, y, angle);
  const int branches = 4 + m_random.Below(3);
  for (int i = 0; i < branches; ++i) {
    const float direction =
        angle + 2 * kPi * static_cast<float>(i) / static_cast<float>(branches) + 0.3f * m_random.Normal();
    const float start = 5.5f * m_p;
    PaintDendrite(x + start * std::cos(direction), y + start * std::sin(direction), direction, i == 0 ? 2.8f : 2.0f,
                  i == 0 ? 5 : 4);
  }
  PaintAxon(x, y, angle + kPi / static_cast<float>(branches));
}

// A rounded body, drawn out towards its dendrites, with the nucleus inside.
void CNeuronPainter::PaintBody(float x, float y, float angle) {
  const float radius = 7.5f * m_p * static_cast<float>(m_random.Between(0.85, 1.15));
  SPlane& dye = m_volumes.dendrites.Slab(0);
  SPlane& nuclei = m_volumes.nuclei.Slab(0);
  ForEachNear(dye, x, y, 1.6f * radius, [&](int px, int py) {
    const float dx = static_cast<float>(px) - x, dy = static_cast<float>(py) - y;
    const float q = std::hypot(dx, dy) / (radius * (1 + 0.22f * std::cos(3 * (std::atan2(dy, dx) - angle))));
    if (q < 1.1f) dye.Row(py)[px] += 2.1f * SmoothStep(1.1f, 0.75f, q) * (1 - 0.45f * SmoothStep(0.62f, 0.45f, q));
    if (q < 0.62f) nuclei.Row(py)[px] += 1.2f * SmoothStep(0.62f, 0.5f, q);
  });
}

void CNeuronPainter::PaintDendrite(float x, float y, float direction, float thickness, int depth) {
  const float length = m_p * static_cast<float>(m_random.Between(16, 38)) * (depth == 0 ? 1.6f : 1.0f);
  const float step = std::max(0.5f, 0.3f * m_p);
  float curvature = 0;
  for (float gone = 0; gone < length; gone += step) {
    const float here = thickness * (1 - 0.35f * gone / length);
    curvature = 0.92f * curvature + 0.006f * m_random.Normal() / m_p * 4;
    direction += curvature * step;
    x += step * std::cos(direction);
    y += step * std::sin(direction);
    m_volumes.dendrites.AddDisc(x, y, 0, 0.5f * here * m_p, 1.5f * step / (here * m_p) * (0.5f + 0.3f * here));
    if (m_random.Chance(0.16 * step / m_p * 3)) PaintSpine(x, y, direction, here);
  }
  if (depth == 0) return;
  const float turn = static_cast<float>(m_random.Between(0.25, 0.6)),
              share = static_cast<float>(m_random.Between(0.62, 0.82));
  PaintDendrite(x, y, direction + turn, thickness * share, depth - 1);
  if (m_random.Chance(0.85)) PaintDendrite(x, y, direction - turn * 1.1f, thickness * (1.45f - share), depth - 1);
}

void CNeuronPainter::PaintSpine(float x, float y, float direction, float thickness) {
  const float side = m_random.Chance(0.5) ? 1.0f : -1.0f;
  const float across = direction + side * (kPi / 2 + 0.3f * m_random.Normal());
  const float reach = m_p * (0.5f * thickness + static_cast<float>(m_random.Between(0.5, 1.3)));
  const float tipX = x + reach * std::cos(across), tipY = y + reach * std::sin(across);
  m_volumes.dendrites.AddDisc(tipX, tipY, 0, 0.32f * m_p, 0.9f);
  if (m_random.Chance(0.3)) {
    m_volumes.synapses.AddDisc(tipX, tipY, 0, 0.34f * m_p, static_cast<float>(m_random.Between(0.6, 1.8)));
  }
}

void CNeuronPainter::PaintAxon(float x, float y, float direction) {
  const float step = std::max(0.5f, 0.2f * m_p);
  float curvature = 0;
  for (float gone = 0; gone < 260 * m_p; gone += step) {
    curvature = 0.97f * curvature + 0.0035f * m_random.Normal() / m_p * 3;
    direction += curvature * step;
    x += step * std::cos(direction);
    y += step * std::sin(direction);
    m_volumes.dendrites.Add(x, y, 0, 0.9f * step);
    if (m_random.Chance(0.008)) m_volumes.synapses.AddDisc(x, y, 0, 0.3f * m_p, 0.7f);
  }
}

}  // namespace

SNeuronVolumes RenderNeurons(int width, int height, double pixelSize, std::uint64_t seed) {
  SNeuronVolumes volumes{CVolume(width, height, 1), CVolume(width, height, 1), CVolume(width, height, 1)};
  CNeuronPainter(&volumes, static_cast<float>(1 / pixelSize), seed).PaintField();
  return volumes;
}
