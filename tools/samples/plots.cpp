#include "tools/samples/plots.h"

#include <string>

#include "tools/samples/canvas.h"
#include "tools/samples/noise.h"

namespace {

constexpr SColor kInk{0.15f, 0.17f, 0.20f};
constexpr SColor kGrid{0.86f, 0.87f, 0.89f};
constexpr SColor kSeries[] = {
    {0.12f, 0.47f, 0.71f}, {0.89f, 0.35f, 0.13f}, {0.17f, 0.62f, 0.36f}, {0.56f, 0.34f, 0.71f}};

// The area inside the axes.
struct SFrame {
  int left, top, right, bottom;

  float X(float t) const { return Mix(static_cast<float>(left), static_cast<float>(right), t); }
  float Y(float t) const { return Mix(static_cast<float>(bottom), static_cast<float>(top), t); }
};

SFrame DrawAxes(CCanvas* canvas, std::string_view title, std::string_view below, int scale) {
  const SFrame frame{canvas->Width() / 9, canvas->Height() / 8, canvas->Width() * 19 / 20, canvas->Height() * 6 / 7};
  for (int i = 0; i <= 5; ++i) {
    const float t = static_cast<float>(i) / 5;
    canvas->Line(frame.X(t), frame.Y(0), frame.X(t), frame.Y(1), 1, kGrid);
    canvas->Line(frame.X(0), frame.Y(t), frame.X(1), frame.Y(t), 1, kGrid);
    const std::string number = std::to_string(i * 20);
    const int width = 6 * scale * static_cast<int>(number.size());
    canvas->Text(static_cast<int>(frame.X(t)) - width / 2, frame.bottom + 4 * scale, number, scale, kInk);
    canvas->Text(frame.left - width - 3 * scale, static_cast<int>(frame.Y(t)) - 3 * scale, number, scale, kInk);
  }
  canvas->Line(frame.X(0), frame.Y(0), frame.X(1), frame.Y(0), 2, kInk);
  canvas->Line(frame.X(0), frame.Y(0), frame.X(0), frame.Y(1), 2, kInk);
  canvas->Text(frame.left, frame.top - 12 * scale, title, scale + 1, kInk);
  const int width = 6 * scale * static_cast<int>(below.size());
  canvas->Text((frame.left + frame.right - width) / 2, frame.bottom + 15 * scale, below, scale, kInk);
  return frame;
}

int TextScale(int width) { return std::max(1, width / 450); }

void DrawSeries(CCanvas* canvas, const SFrame& frame, const CNoise& noise, int index, CRandom& random) {
  const SColor color = kSeries[index];
  const auto rate = static_cast<float>(random.Between(1.5, 6)), height = static_cast<float>(random.Between(0.35, 0.9)),
             row = 5.3f * static_cast<float>(index);
  float lastX = 0, lastY = 0;
  for (int x = frame.left; x <= frame.right; x += 2) {
    const float t = static_cast<float>(x - frame.left) / static_cast<float>(frame.right - frame.left);
    const float value = height * (1 - std::exp(-rate * t)) + 0.05f * noise.Fractal(6 * t, row, 3) + 0.03f;
    const float error = 0.02f + 0.05f * t * (0.6f + 0.4f * noise.At(4 * t, row + 2));
    const float y = frame.Y(value);
    canvas->Box(x, static_cast<int>(frame.Y(value + error)), x + 2, static_cast<int>(frame.Y(value - error)), color,
                0.22f);
    if (x > frame.left) canvas->Line(lastX, lastY, static_cast<float>(x), y, 2.2f, color);
    lastX = static_cast<float>(x);
    lastY = y;
  }
}

void Append16(CBytes* bytes, float value) {
  const auto number = static_cast<std::uint32_t>(std::clamp(value, 0.0f, 1.0f) * 65535 + 0.5f);
  bytes->push_back(static_cast<std::uint8_t>(number >> 8));
  bytes->push_back(static_cast<std::uint8_t>(number & 255));
}

// Blue over white to red.
SColor Diverging(float t) {
  const SColor cold{0.13f, 0.30f, 0.62f}, middle{0.97f, 0.97f, 0.96f}, warm{0.70f, 0.10f, 0.16f};
  return t < 0.5f ? Mix(cold, middle, 2 * t) : Mix(middle, warm, 2 * t - 1);
}

}  // namespace

SPngImage DrawCurves(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "curves");
  const CNoise noise(random);
  CCanvas canvas(width, height, {1, 1, 1}, 0);
  const int scale = TextScale(width);
  const SFrame frame = DrawAxes(&canvas, "RECOVERY AFTER BLEACHING", "TIME (S)", scale);
  static constexpr std::string_view kNames[] = {"CONTROL", "SIRNA 1", "SIRNA 2", "RESCUE"};
  for (int i = 0; i < 4; ++i) {
    DrawSeries(&canvas, frame, noise, i, random);
    const int x = frame.right - 60 * scale, y = frame.bottom - (48 - 11 * i) * scale;
    canvas.Box(x - 14 * scale, y + 2 * scale, x - 3 * scale, y + 5 * scale, kSeries[i]);
    canvas.Text(x, y, kNames[i], scale, kInk);
  }
  SPngImage png;
  png.width = width;
  png.height = height;
  png.color = EPngColor::kRgba;
  const CBytes& colors = canvas.Colors().pixels;
  for (std::size_t i = 0; i < canvas.Alphas().size(); ++i) {
    png.samples.insert(png.samples.end(), {colors[3 * i], colors[3 * i + 1], colors[3 * i + 2], canvas.Alphas()[i]});
  }
  return png;
}

SPngImage DrawScatter(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "scatter");
  CCanvas canvas(width, height, {1, 1, 1}, 1);
  const SFrame frame = DrawAxes(&canvas, "NUCLEAR AREA / INTENSITY", "AREA (PERCENTILE)", TextScale(width));
  for (int i = 0; i < 900; ++i) {
    const int group = random.Below(3);
    const float x = 0.25f + 0.22f * static_cast<float>(group) + 0.09f * random.Normal();
    const float y = 0.2f + 0.8f * (x - 0.2f) * (group == 1 ? 0.5f : 1.0f) + 0.09f * random.Normal();
    if (x > 0 && x < 1 && y > 0 && y < 1)
      canvas.Disc(frame.X(x), frame.Y(y), 0.005f * static_cast<float>(width), kSeries[group], 0.6f);
  }
  SPngImage png;
  png.width = width;
  png.height = height;
  png.color = EPngColor::kPalette;
  png.interlaced = true;
  // The colour cube of 6 x 6 x 6 steps.
  for (int i = 0; i < 216; ++i) {
    const auto step = [](int level) { return static_cast<std::uint8_t>(51 * level); };
    png.palette.push_back({step(i / 36), step(i / 6 % 6), step(i % 6)});
  }
  const CBytes& colors = canvas.Colors().pixels;
  for (std::size_t i = 0; i < colors.size(); i += 3) {
    const auto level = [&](std::size_t c) { return (colors[i + c] + 25) / 51; };
    png.samples.push_back(static_cast<std::uint8_t>(36 * level(0) + 6 * level(1) + level(2)));
  }
  return png;
}

SPngImage DrawHeightMap(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "height map");
  const CNoise noise(random);
  SPngImage png;
  png.width = width;
  png.height = height;
  png.color = EPngColor::kGrey;
  png.bits = 16;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const float u = 6 * static_cast<float>(x) / static_cast<float>(width),
                  v = 6 * static_cast<float>(y) / static_cast<float>(width);
      const float scratches = std::pow(noise.Ridged(0.8f * u + 0.3f * v, 9 * (v - 0.15f * u), 2), 10.0f);
      const float hills = 0.5f + 0.42f * noise.Fractal(u, v, 6);
      Append16(&png.samples, hills - 0.22f * scratches + 0.004f * random.Normal());
    }
  }
  return png;
}

SPngImage DrawHeatMap(int width, int height, std::uint64_t seed) {
  CRandom random(seed, "heat map");
  constexpr int kGenes = 24;
  float factor[kGenes][3];
  for (int i = 0; i < kGenes; ++i) {
    for (int k = 0; k < 3; ++k)
      factor[i][k] = (i / 8 == k ? 1.0f : 0.15f) * (i % 3 == 2 ? -1.0f : 1.0f) + 0.25f * random.Normal();
  }
  const auto correlation = [&](int a, int b) {
    float product = 0, squareA = 0, squareB = 0;
    for (int k = 0; k < 3; ++k) {
      product += factor[a][k] * factor[b][k];
      squareA += factor[a][k] * factor[a][k];
      squareB += factor[b][k] * factor[b][k];
    }
    return product / std::sqrt(squareA * squareB);
  };
  SPngImage png;
  png.width = width;
  png.height = height;
  png.bits = 16;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const int a = x * kGenes / width, b = y * kGenes / height;
      const bool gap = x * kGenes % width < kGenes || y * kGenes % height < kGenes;
      const SColor color = gap ? SColor{1, 1, 1} : Diverging(0.5f + 0.5f * correlation(a, b));
      for (const float value : {color.r, color.g, color.b}) Append16(&png.samples, value);
    }
  }
  return png;
}
