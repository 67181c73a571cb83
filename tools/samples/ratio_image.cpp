#include "tools/samples/ratio_image.h"

#include <limits>

#include "tools/samples/fluorescence.h"
#include "tools/samples/noise.h"
#include "tools/samples/tiff_writer.h"

namespace {

constexpr float kCameraOffset = 100;
// Below it a ratio would be one of noise.
constexpr float kLeastDye = 150;

// The exposure that calcium does not change much: the bodies of the cells, less the camera's offset.
SPlane RenderDye(const SContext& context, std::uint64_t seed) {
  SFieldOptions options;
  options.width = context.Side(512);
  options.height = context.Side(384);
  options.channels = 2;
  options.pixelSize = 0.325;
  const SStack stack = MakeField(EFluorescence::kCells, options, seed);
  SPlane dye(stack.width, stack.height);
  for (std::size_t i = 0; i < dye.values.size(); ++i) {
    dye.values[i] = static_cast<float>(stack.planes[1][i]) - kCameraOffset;
  }
  Blur(&dye, 1.2f);
  return dye;
}

// Calcium is high where a wave has just passed, 0.4 to 2.6 times as bright in one exposure as in the other.
std::vector<float> Ratios(const SPlane& dye, std::uint64_t seed) {
  CRandom random(seed, "calcium");
  const CNoise noise(random);
  std::vector<float> ratios;
  for (int y = 0; y < dye.height; ++y) {
    for (int x = 0; x < dye.width; ++x) {
      const float u = static_cast<float>(x) / static_cast<float>(dye.width),
                  v = static_cast<float>(y) / static_cast<float>(dye.width);
      const float wave = Bell((u + 0.4f * v - 0.62f) / 0.14f) + 0.25f * noise.Fractal(9 * u, 9 * v, 4);
      const bool dyed = dye.Row(y)[x] >= kLeastDye;
      ratios.push_back(dyed ? 0.4f + 2.2f * std::clamp(wave, 0.0f, 1.0f) : std::numeric_limits<float>::quiet_NaN());
    }
  }
  return ratios;
}

}  // namespace

void MakeRatioImage(const SContext& context) {
  const std::string name = "Calcium imaging/fura-2 ratio.tif";
  const std::uint64_t seed = context.SeedFor(name);
  const SPlane dye = RenderDye(context, seed);
  const std::vector<float> ratios = Ratios(dye, seed);
  STiffPage page;
  page.width = dye.width;
  page.height = dye.height;
  page.bits = 32;
  page.pixels = ratios.data();
  page.description = "Fura-2, 340 nm over 380 nm, 0.4 s after stimulation";
  page.dateTime = SMoment(61).Tiff();
  page.pixelsPerCentimetre = 1e4 / 0.325;
  CTiffWriter file(context.output.Add(name));
  file.Write(page);
  file.Close();
}
