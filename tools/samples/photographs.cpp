#include "tools/samples/photographs.h"

#include <array>

#include "tools/samples/angle.h"
#include "tools/samples/noise.h"

namespace {

// Calls shade(u, v) for every pixel, in units of the height with the origin in the middle, and adds sensor noise.
template <class Shade>
SRgbImage Photograph(int width, int height, CRandom& random, Shade shade) {
  SRgbImage image(width, height);
  const float unit = 1 / static_cast<float>(height);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = (static_cast<float>(x) + 0.5f - 0.5f * static_cast<float>(width)) * unit;
      const float v = (static_cast<float>(y) + 0.5f - 0.5f * static_cast<float>(height)) * unit;
      SColor color = shade(u, v) * (1 - 0.28f * (u * u + v * v));
      const float noise = 0.008f * random.Normal();
      image.Set(x, y, color + SColor{noise, noise, noise});
    }
  }
  return image;
}

// A dark laboratory bench, slightly worn.
SColor Bench(const CNoise& noise, float u, float v) {
  const float wear = 0.5f + 0.5f * noise.Fractal(3 * u + 40, 3 * v, 4), speck = noise.At(300 * u, 300 * v);
  return Mix(SColor{0.10f, 0.115f, 0.13f}, SColor{0.17f, 0.18f, 0.195f}, wear) + SColor{0.015f, 0.015f, 0.015f} * speck;
}

struct SColony {
  float u, v, radius;
  SColor color;
};

std::vector<SColony> PlaceColonies(CRandom& random) {
  static constexpr SColor kColors[] = {{0.93f, 0.90f, 0.80f}, {0.95f, 0.83f, 0.45f}, {0.86f, 0.55f, 0.45f}};
  std::vector<SColony> colonies;
  for (int i = 0; i < 130; ++i) {
    const auto angle = static_cast<float>(random.Between(0, 2 * kPi)),
               r = 0.385f * static_cast<float>(std::sqrt(random.Unit()));
    const int kind = random.Chance(0.75) ? 0 : 1 + random.Below(2);
    const auto radius = static_cast<float>(random.Between(0.004, kind == 0 ? 0.014 : 0.019));
    colonies.push_back({r * std::cos(angle), r * std::sin(angle), radius, kColors[kind]});
  }
  return colonies;
}

SColor ShadeAgar(const CNoise& noise, const std::vector<SColony>& colonies, float u, float v) {
  const float r = std::hypot(u, v);
  const float cloud = noise.Fractal(4 * u, 4 * v, 3);
  SColor color =
      Mix(SColor{0.80f, 0.66f, 0.40f}, SColor{0.90f, 0.78f, 0.52f}, 0.5f + 0.5f * cloud) * (1 - 0.5f * r * r);
  for (const SColony& colony : colonies) {
    const float du = u - colony.u, dv = v - colony.v;
    if (std::max(std::fabs(du), std::fabs(dv)) > 1.7f * colony.radius) continue;
    const float q = std::hypot(du, dv) / colony.radius;
    color =
        color *
        (1 - 0.35f * Bell((std::hypot(du - 0.3f * colony.radius, dv - 0.4f * colony.radius) / colony.radius) / 0.75f) *
                 SmoothStep(0.8f, 1.0f, q));
    const float dome = std::sqrt(std::max(0.0f, 1 - q * q));
    const float light = 0.75f + 0.25f * dome - 0.12f * (du + dv) / colony.radius;
    const float glint = 0.5f * Bell(std::hypot(du / colony.radius + 0.35f, dv / colony.radius + 0.4f) / 0.14f);
    color = Mix(color, colony.color * light + SColor{glint, glint, glint}, SmoothStep(1.06f, 0.94f, q));
  }
  return color;
}

}  // namespace

SRgbImage RenderAgarPlate(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "agar plate");
  const CNoise noise(random);
  const std::vector<SColony> colonies = PlaceColonies(random);
  return Photograph(width, height, random, [&](float u, float v) {
    const float r = std::hypot(u, v);
    // The dish: agar, a wall of clear plastic with two bright rims, its shadow on the bench.
    const float shadow = 1 - 0.55f * SmoothStep(0.49f, 0.43f, std::hypot(u - 0.025f, v - 0.035f));
    SColor color = Bench(noise, u, v) * shadow;
    const float side = 0.65f + 0.35f * std::cos(std::atan2(v, u) + 2.3f);
    const float rim = (0.55f * Bell((r - 0.452f) / 0.0022f) + 0.35f * Bell((r - 0.415f) / 0.002f)) * side;
    const SColor wall = Mix(color, SColor{0.72f, 0.70f, 0.66f}, 0.35f);
    color = Mix(color, wall, SmoothStep(0.456f, 0.453f, r));
    color = Mix(color, ShadeAgar(noise, colonies, u, v), SmoothStep(0.413f, 0.410f, r));
    const float lamp =
        0.16f * SmoothStep(0.02f, 0.0f, std::fabs(u + 0.23f + 0.2f * v) - 0.012f) * SmoothStep(0.40f, 0.37f, r);
    return color + SColor{rim + lamp, rim + lamp, rim + lamp};
  });
}

namespace {

constexpr int kRidges = 6;  // the last is the nearest

// How high each ridge stands at a place, 0 at the lower and 1 at the upper edge of the picture.
float RidgeHeight(const CNoise& noise, int ridge, float u) {
  const auto layer = static_cast<float>(ridge);
  const float scale = 1.1f + 0.55f * layer;
  const float crest = (0.24f - 0.022f * layer) * noise.Fractal(scale * u + 13 * layer, 3.7f * layer, 6);
  const float trees = ridge >= kRidges - 2 ? 0.012f * noise.At(90 * u, layer) : 0;
  return 0.60f - 0.085f * layer + crest + trees;
}

struct SDaylight {
  SColor horizon, zenith, glow, rock, mist;
};

constexpr SDaylight kDaylights[] = {
    {{0.99f, 0.66f, 0.38f}, {0.20f, 0.33f, 0.60f}, {0.45f, 0.25f, 0.08f}, {0.66f, 0.50f, 0.52f}, {0.95f, 0.68f, 0.50f}},
    {{0.80f, 0.88f, 0.95f}, {0.20f, 0.45f, 0.80f}, {0.15f, 0.14f, 0.10f}, {0.50f, 0.62f, 0.74f}, {0.80f, 0.87f, 0.93f}},
    {{0.93f, 0.62f, 0.66f}, {0.23f, 0.20f, 0.45f}, {0.35f, 0.12f, 0.10f}, {0.48f, 0.38f, 0.58f}, {0.80f, 0.55f, 0.66f}},
};

SColor ShadeSky(const CNoise& noise, const SDaylight& light, float sunU, float u, float v) {
  const float height = 0.5f - v, fromSun = std::hypot(u - sunU, v + 0.06f);
  const float clouds = SmoothStep(0.05f, 0.5f, noise.Fractal(2.2f * u + 9, 9 * v, 5)) * SmoothStep(0.55f, 0.8f, height);
  SColor color = Mix(light.horizon, light.zenith, SmoothStep(0.42f, 1.0f, height));
  color = color + light.glow * Bell(fromSun / 0.22f) + SColor{1, 0.9f, 0.6f} * SmoothStep(0.033f, 0.030f, fromSun);
  return Mix(color, Mix(light.mist, SColor{1, 1, 1}, 0.25f), 0.6f * clouds);
}

// `below` is how far the point lies under the crest.
SColor ShadeRidge(const CNoise& noise, const SDaylight& light, int ridge, float u, float v, float below) {
  const auto layer = static_cast<float>(ridge);
  const float nearness = layer / (kRidges - 1);
  const SColor rock = Mix(light.rock, SColor{0.05f, 0.07f, 0.10f}, std::pow(nearness, 0.7f));
  const float mist = 0.35f * (1 - nearness) * SmoothStep(0.0f, 0.25f, below);
  const float texture = 1 + 0.18f * noise.Fractal(14 * u + layer, 20 * v, 4);
  return Mix(rock * texture, light.mist, mist);
}

}  // namespace

SRgbImage RenderMountains(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "mountains");
  const CNoise noise(random);
  const auto sunU = static_cast<float>(random.Between(-0.4, 0.4));
  const SDaylight& light = kDaylights[random.Below(3)];
  std::vector<std::array<float, kRidges>> ridges(static_cast<std::size_t>(width));
  for (int x = 0; x < width; ++x) {
    const float u = (static_cast<float>(x) + 0.5f - 0.5f * static_cast<float>(width)) / static_cast<float>(height);
    for (int i = 0; i < kRidges; ++i)
      ridges[static_cast<std::size_t>(x)][static_cast<std::size_t>(i)] = RidgeHeight(noise, i, u);
  }
  return Photograph(width, height, random, [&](float u, float v) {
    const auto& column =
        ridges[static_cast<std::size_t>(u * static_cast<float>(height) + 0.5f * static_cast<float>(width))];
    SColor color = ShadeSky(noise, light, sunU, u, v);
    for (int i = 0; i < kRidges; ++i) {
      const float below = column[static_cast<std::size_t>(i)] - (0.5f - v);
      if (below > -0.0012f)
        color = Mix(color, ShadeRidge(noise, light, i, u, v, below), SmoothStep(-0.0012f, 0.0012f, below));
    }
    return color;
  });
}

SRgbImage RenderWellPlate(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "well plate");
  const CNoise noise(random);
  float strength[8][12];
  for (auto& row : strength) {
    const auto potency = static_cast<float>(random.Between(2.5, 9));
    for (int column = 0; column < 12; ++column) {
      row[column] = std::clamp(
          1 / (1 + std::exp(-(static_cast<float>(column) - potency) * 0.9f)) + 0.04f * random.Normal(), 0.0f, 1.0f);
    }
  }
  constexpr float kPitch = 0.098f, kRadius = 0.038f;
  return Photograph(width, height, random, [&](float u, float v) {
    const float outside = std::max(std::fabs(u) - 0.615f, std::fabs(v) - 0.415f);
    const float shadow =
        1 - 0.5f * SmoothStep(0.05f, 0.0f, std::max(std::fabs(u - 0.015f) - 0.615f, std::fabs(v - 0.02f) - 0.415f));
    SColor color = Mix(Bench(noise, u, v) * shadow, SColor{0.90f, 0.91f, 0.92f} * (1 - 0.08f * (u + v)),
                       SmoothStep(0.002f, -0.002f, outside));
    const float edge = 0.25f * Bell((outside + 0.012f) / 0.003f);
    color = color * (1 - edge);
    const int column = static_cast<int>(std::floor(u / kPitch + 6)), row = static_cast<int>(std::floor(v / kPitch + 4));
    if (column < 0 || row < 0 || column > 11 || row > 7) return color;
    const float du = u - (static_cast<float>(column) - 5.5f) * kPitch,
                dv = v - (static_cast<float>(row) - 3.5f) * kPitch;
    const float r = std::hypot(du, dv);
    const SColor liquid = Mix(SColor{0.96f, 0.86f, 0.42f}, SColor{0.46f, 0.10f, 0.52f}, strength[row][column]);
    const float depth = 0.80f + 0.20f * SmoothStep(0.0f, kRadius, kRadius - r) - 2.2f * (du + dv);
    const float glint = 0.6f * Bell(std::hypot(du + 0.014f, dv + 0.016f) / 0.004f);
    color = Mix(color, liquid * depth + SColor{glint, glint, glint}, SmoothStep(kRadius + 0.001f, kRadius - 0.001f, r));
    return color * (1 - 0.35f * Bell((r - kRadius) / 0.0018f));
  });
}
