#include "tools/samples/tissue.h"

#include "tools/samples/angle.h"
#include "tools/samples/noise.h"

namespace {

// Optical densities of the two dyes in red, green and blue (A. C. Ruifrok, D. A. Johnston, "Quantification of
// histochemical staining by color deconvolution", Anal. Quant. Cytol. Histol. 23, 2001).
constexpr SColor kHaematoxylin{0.650f, 0.704f, 0.286f};
constexpr SColor kEosin{0.093f, 0.954f, 0.283f};

class CTissuePainter {
 public:
  CTissuePainter(int width, int height, std::uint64_t seed)
      : m_blue(width, height), m_pink(width, height), m_random(seed, "tissue"), m_noise(m_random) {}

  SRgbImage Paint();

 private:
  struct SGland {
    float x, y, radius, lumen, shift;
  };
  // How surely there is tissue at a point, 0 to 1.
  float Tissue(float x, float y) const;
  float GlandBorder(const SGland& gland, float angle) const;
  void PlaceGlands();
  void PaintStroma();
  void PaintGland(const SGland& gland);
  void PaintGlandCells(const SGland& gland);
  void PaintStromaCells();
  void PaintNucleus(float x, float y, float longRadius, float shortRadius, float angle, float density);
  void PaintVacuole(float x, float y, float longRadius, float shortRadius, float angle);
  bool InsideGland(float x, float y) const;
  SRgbImage Develop();

  SPlane m_blue, m_pink;  // amounts of the two dyes
  CRandom m_random;
  CNoise m_noise;
  std::vector<SGland> m_glands;
};

float CTissuePainter::Tissue(float x, float y) const {
  const float u = x / static_cast<float>(m_blue.width) - 0.5f, v = y / static_cast<float>(m_blue.height) - 0.5f;
  const float ragged = 0.16f * m_noise.Fractal(3.1f + 4 * u, 7.7f + 4 * v, 5);
  return SmoothStep(0.0f, 0.012f, 0.43f + ragged - std::hypot(u, 1.05f * v));
}

float CTissuePainter::GlandBorder(const SGland& gland, float angle) const {
  const float wave = m_noise.Fractal(gland.shift + 1.2f * std::cos(angle), gland.shift + 1.2f * std::sin(angle), 3);
  return gland.radius * (1 + 0.38f * wave);
}

void CTissuePainter::PlaceGlands() {
  const int wanted = m_blue.width * m_blue.height / 2500;
  for (int i = 0; i < wanted; ++i) {
    SGland gland{};
    gland.x = static_cast<float>(m_random.Between(0, m_blue.width));
    gland.y = static_cast<float>(m_random.Between(0, m_blue.height));
    gland.radius = static_cast<float>(m_random.Between(62, 104));
    gland.lumen = static_cast<float>(m_random.Between(0.16, 0.4));
    gland.shift = static_cast<float>(m_random.Between(0, 200));
    const bool free = std::none_of(m_glands.begin(), m_glands.end(), [&](const SGland& other) {
      return std::hypot(other.x - gland.x, other.y - gland.y) < 1.08f * (other.radius + gland.radius);
    });
    if (free && Tissue(gland.x, gland.y) > 0.9f && Tissue(gland.x + 110, gland.y) > 0.5f &&
        Tissue(gland.x - 110, gland.y) > 0.5f) {
      m_glands.push_back(gland);
    }
  }
}

bool CTissuePainter::InsideGland(float x, float y) const {
  return std::any_of(m_glands.begin(), m_glands.end(), [&](const SGland& gland) {
    const float dx = x - gland.x, dy = y - gland.y;
    return std::hypot(dx, dy) < 1.6f * gland.radius &&
           std::hypot(dx, dy) < 1.06f * GlandBorder(gland, std::atan2(dy, dx));
  });
}

// Collagen in waves, with clefts between the bundles.
void CTissuePainter::PaintStroma() {
  for (int y = 0; y < m_pink.height; ++y) {
    for (int x = 0; x < m_pink.width; ++x) {
      const auto fx = static_cast<float>(x), fy = static_cast<float>(y);
      const float mask = Tissue(fx, fy);
      if (mask == 0) continue;
      const float bendX = 90 * m_noise.Fractal(fx / 300, fy / 300, 2),
                  bendY = 90 * m_noise.Fractal(fx / 300 + 40, fy / 300, 2);
      const float fibres = m_noise.Ridged((fx + bendX) / 70, (fy + bendY) / 15, 3);
      const float clefts = SmoothStep(0.25f, 0.55f, m_noise.Fractal((fx + bendX) / 45, (fy + bendY) / 22, 3) + 0.1f);
      const float patches = m_noise.Fractal(fx / 320, fy / 320, 2);
      m_pink.Row(y)[x] = mask * std::max(0.04f, (0.30f + 0.30f * fibres + 0.14f * patches) * (1 - 0.85f * clefts));
      m_blue.Row(y)[x] = mask * (0.07f + 0.05f * patches) * (1 - 0.7f * clefts);
    }
  }
}

// A ring of tall cells around a lumen, with a basement membrane outside.
void CTissuePainter::PaintGland(const SGland& gland) {
  ForEachNear(m_pink, gland.x, gland.y, 1.6f * gland.radius, [&](int x, int y) {
    const auto fx = static_cast<float>(x), fy = static_cast<float>(y);
    const float dx = fx - gland.x, dy = fy - gland.y, angle = std::atan2(dy, dx);
    const float q = std::hypot(dx, dy) / GlandBorder(gland, angle);
    if (q > 1.08f) return;
    const float mask = Tissue(fx, fy), inside = SmoothStep(1.08f, 1.02f, q);
    const float grain = m_noise.Fractal(fx / 7, fy / 7, 3);
    const float membrane = 0.35f * Bell((q - 1.03f) / 0.025f);
    const float brush = 0.25f * Bell((q - gland.lumen) / 0.03f);
    const float cellular = SmoothStep(gland.lumen - 0.03f, gland.lumen + 0.03f, q);
    const float walls = 0.10f * std::pow(m_noise.Ridged(angle * gland.radius / 11, 2 * q + gland.shift, 1), 6.0f);
    const float mucus = 0.10f * SmoothStep(0.1f, 0.5f, m_noise.Fractal(fx / 26, fy / 26, 3));
    const float pink = membrane + brush + Mix(0.02f + mucus, 0.30f + 0.08f * grain + walls, cellular);
    const float blue = Mix(0.01f + 0.5f * mucus, 0.17f + 0.08f * grain, cellular);
    m_pink.Row(y)[x] = Mix(m_pink.Row(y)[x], mask * pink, inside);
    m_blue.Row(y)[x] = Mix(m_blue.Row(y)[x], mask * blue, inside);
  });
}

void CTissuePainter::PaintGlandCells(const SGland& gland) {
  const int count = static_cast<int>(2 * kPi * gland.radius / 11.5f);
  for (int i = 0; i < count; ++i) {
    const float angle = 2 * kPi * (static_cast<float>(i) + 0.25f * m_random.Normal()) / static_cast<float>(count);
    const float border = GlandBorder(gland, angle), cosA = std::cos(angle), sinA = std::sin(angle);
    const float wall = 1 - gland.lumen;
    if (m_random.Chance(0.42)) {
      const float at = border * (gland.lumen + 0.42f * wall);
      PaintVacuole(gland.x + at * cosA, gland.y + at * sinA, 0.21f * wall * border,
                   static_cast<float>(m_random.Between(6.5, 9)), angle);
    }
    const float at = border * (1 - wall * static_cast<float>(m_random.Between(0.12, 0.27)));
    const auto density = static_cast<float>(m_random.Between(0.75, 1.1));
    const float tilted = angle + 0.15f * m_random.Normal();
    const auto shortRadius = static_cast<float>(m_random.Between(4.2, 5.6));
    PaintNucleus(gland.x + at * cosA, gland.y + at * sinA, static_cast<float>(m_random.Between(7.5, 10.5)), shortRadius,
                 tilted, density);
  }
}

// Slender nuclei of fibroblasts everywhere, lymphocytes in crowds.
void CTissuePainter::PaintStromaCells() {
  const int count = m_blue.width * m_blue.height / 900;
  for (int i = 0; i < count; ++i) {
    const float x = static_cast<float>(m_random.Between(0, m_blue.width)),
                y = static_cast<float>(m_random.Between(0, m_blue.height));
    if (Tissue(x, y) < 0.95f || InsideGland(x, y)) continue;
    const float crowd = m_noise.Fractal(x / 260 + 90, y / 260, 3);
    const float along = 0.5f * m_noise.At(x / 150, y / 150);
    if (m_random.Chance(SmoothStep(-0.1f, 0.35f, crowd))) {
      const auto radius = static_cast<float>(m_random.Between(4.6, 6.0));
      PaintNucleus(x, y, radius, radius * 0.93f, 0, static_cast<float>(m_random.Between(1.1, 1.5)));
    } else if (m_random.Chance(0.35)) {
      const auto density = static_cast<float>(m_random.Between(0.7, 1.1));
      const float tilted = along + 0.25f * m_random.Normal();
      const auto shortRadius = static_cast<float>(m_random.Between(2.2, 3.4));
      PaintNucleus(x, y, static_cast<float>(m_random.Between(8, 14)), shortRadius, tilted, density);
    }
  }
}

void CTissuePainter::PaintNucleus(float x, float y, float longRadius, float shortRadius, float angle, float density) {
  if (Tissue(x, y) < 0.9f) return;
  const float cosA = std::cos(angle), sinA = std::sin(angle);
  ForEachNear(m_blue, x, y, longRadius + 2, [&](int px, int py) {
    const float dx = static_cast<float>(px) - x, dy = static_cast<float>(py) - y;
    const float q = std::hypot((dx * cosA + dy * sinA) / longRadius, (-dx * sinA + dy * cosA) / shortRadius);
    const float inside = SmoothStep(1.12f, 0.88f, q);
    if (inside == 0) return;
    const float grain = m_noise.Fractal(static_cast<float>(px) / 2.6f, static_cast<float>(py) / 2.6f, 2);
    const float chromatin = density * (0.78f + 0.3f * grain + 0.22f * Bell((q - 0.9f) / 0.15f));
    m_blue.Row(py)[px] = Mix(m_blue.Row(py)[px], std::max(0.2f, chromatin), inside);
    m_pink.Row(py)[px] = Mix(m_pink.Row(py)[px], 0.20f, inside);
  });
}

void CTissuePainter::PaintVacuole(float x, float y, float longRadius, float shortRadius, float angle) {
  if (Tissue(x, y) < 0.9f) return;
  const float cosA = std::cos(angle), sinA = std::sin(angle);
  ForEachNear(m_blue, x, y, longRadius + 2, [&](int px, int py) {
    const float dx = static_cast<float>(px) - x, dy = static_cast<float>(py) - y;
    const float q = std::hypot((dx * cosA + dy * sinA) / longRadius, (-dx * sinA + dy * cosA) / shortRadius);
    const float inside = SmoothStep(1.1f, 0.85f, q);
    if (inside == 0) return;
    m_blue.Row(py)[px] = Mix(m_blue.Row(py)[px], 0.07f, inside);
    m_pink.Row(py)[px] = Mix(m_pink.Row(py)[px], 0.05f, inside);
  });
}

// Light falls off exponentially with the dye (Beer-Lambert); a little grain from the scanner's camera.
SRgbImage CTissuePainter::Develop() {
  SRgbImage image(m_blue.width, m_blue.height);
  constexpr SColor kGlass{0.955f, 0.950f, 0.958f};
  for (int y = 0; y < image.height; ++y) {
    for (int x = 0; x < image.width; ++x) {
      const float blue = 1.55f * m_blue.Row(y)[x], pink = 1.0f * m_pink.Row(y)[x];
      const SColor density = kHaematoxylin * blue + kEosin * pink;
      const float grain = 1 + 0.006f * m_random.Normal();
      const SColor light{std::exp(-density.r), std::exp(-density.g), std::exp(-density.b)};
      image.Set(x, y, kGlass * light * grain);
    }
  }
  return image;
}

SRgbImage CTissuePainter::Paint() {
  PlaceGlands();
  PaintStroma();
  for (const SGland& gland : m_glands) PaintGland(gland);
  PaintStromaCells();
  for (const SGland& gland : m_glands) PaintGlandCells(gland);
  Blur(&m_blue, 0.6f);
  Blur(&m_pink, 0.6f);
  return Develop();
}

}  // namespace

SRgbImage RenderTissue(int width, int height, std::uint64_t seed) {
  return CTissuePainter(width, height, seed).Paint();
}
