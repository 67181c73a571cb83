#include <algorithm>

#include "tools/samples/cells.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/neurons.h"

namespace {

constexpr double kStackHeight = 9;  // micrometres from the lowest to the highest plane

const SStackChannel kCellChannels[] = {
    {"DAPI", "DAPI", 0x3C6CFF, 405, 450, 40},
    {"Tubulin", "Alexa Fluor 488", 0x1FE070, 488, 525, 120},
    {"Actin", "Alexa Fluor 568", 0xFF5A35, 561, 603, 200},
    {"Mitochondria", "MitoTracker Deep Red", 0xFF40D8, 640, 690, 250},
};
constexpr ECellStain kCellStains[] = {ECellStain::kNuclei, ECellStain::kTubulin, ECellStain::kActin,
                                      ECellStain::kMitochondria};

const SStackChannel kNeuronChannels[] = {
    {"MAP2", "Alexa Fluor 488", 0x20E878, 488, 525, 150},
    {"Synapsin", "Alexa Fluor 568", 0xFF4A9C, 561, 603, 300},
    {"DAPI", "DAPI", 0x3C6CFF, 405, 450, 40},
};

// Stray light from everywhere and an illumination that falls off towards the corners.
void AddHaze(SPlane* light) {
  SPlane haze = *light;
  Blur(&haze, 14);
  for (int y = 0; y < light->height; ++y) {
    const float v = 2 * static_cast<float>(y) / static_cast<float>(light->height) - 1;
    for (int x = 0; x < light->width; ++x) {
      const float u = 2 * static_cast<float>(x) / static_cast<float>(light->width) - 1;
      float& value = light->Row(y)[x];
      value = (value + 0.16f * haze.Row(y)[x]) * (1 - 0.09f * (u * u + v * v));
    }
  }
}

// Turns the planes of one channel into counts; the brightest details of the whole series come close to saturation.
void ExposeSeries(std::vector<SPlane>* series, CRandom& random, std::vector<std::vector<std::uint16_t>>* counts) {
  float brightest = 1e-6f;
  for (SPlane& light : *series) {
    AddHaze(&light);
    brightest = std::max(brightest, Percentile(light, 0.999));
  }
  SCamera camera;
  camera.gain = 3300 / brightest;
  for (const SPlane& light : *series) counts->push_back(Expose(light, camera, random));
}

SStack EmptyStack(const SFieldOptions& options) {
  SStack stack;
  stack.width = options.width;
  stack.height = options.height;
  stack.sizeZ = options.sizeZ;
  stack.sizeT = options.sizeT;
  stack.pixelSize = options.pixelSize;
  stack.zStep = options.sizeZ > 1 ? kStackHeight / options.sizeZ : 0;
  stack.interval = options.sizeT > 1 ? 300 : 0;
  return stack;
}

// From channel after channel to the order of the file: channels change fastest.
void Interleave(const std::vector<std::vector<std::vector<std::uint16_t>>>& channels, SStack* stack) {
  for (std::size_t plane = 0; plane < channels.front().size(); ++plane) {
    for (const auto& channel : channels) stack->planes.push_back(channel[plane]);
  }
}

std::vector<SPlane> RenderCellChannel(const SFieldOptions& options, ECellStain stain, std::uint64_t seed) {
  CCellScene scene({options.width, options.height, options.pixelSize, 0.95, options.dividing}, seed);
  const auto sharpness = static_cast<float>(std::max(0.8, 0.17 / options.pixelSize));
  const auto defocus = static_cast<float>(std::min(14.0, 1.9 / options.pixelSize));
  std::vector<SPlane> series;
  for (int t = 0; t < options.sizeT; ++t) {
    if (t > 0) scene.Advance(300.0 / 3600);
    CVolume volume(options.width, options.height, options.sizeZ > 1 ? 5 : 1);
    scene.Render(stain, &volume);
    for (int z = 0; z < options.sizeZ; ++z) {
      series.push_back(
          volume.Focus((static_cast<float>(z) + 0.5f) / static_cast<float>(options.sizeZ), sharpness, defocus));
    }
  }
  return series;
}

SStack MakeCells(const SFieldOptions& options, std::uint64_t seed) {
  SStack stack = EmptyStack(options);
  CRandom random(seed, "camera");
  std::vector<std::vector<std::vector<std::uint16_t>>> channels;
  for (int c = 0; c < options.channels; ++c) {
    stack.channels.push_back(kCellChannels[c]);
    std::vector<SPlane> series = RenderCellChannel(options, kCellStains[c], seed);
    ExposeSeries(&series, random, &channels.emplace_back());
  }
  Interleave(channels, &stack);
  return stack;
}

SStack MakeNeurons(const SFieldOptions& options, std::uint64_t seed) {
  SStack stack = EmptyStack(options);
  CRandom random(seed, "camera");
  const SNeuronVolumes volumes = RenderNeurons(options.width, options.height, options.pixelSize, seed);
  const CVolume* const all[] = {&volumes.dendrites, &volumes.synapses, &volumes.nuclei};
  std::vector<std::vector<std::vector<std::uint16_t>>> channels;
  for (int c = 0; c < options.channels; ++c) {
    stack.channels.push_back(kNeuronChannels[c]);
    std::vector<SPlane> series = {all[c]->Focus(0.5f, static_cast<float>(std::max(0.8, 0.17 / options.pixelSize)), 0)};
    ExposeSeries(&series, random, &channels.emplace_back());
  }
  Interleave(channels, &stack);
  return stack;
}

}  // namespace

SStack MakeField(EFluorescence kind, const SFieldOptions& options, std::uint64_t seed) {
  return kind == EFluorescence::kCells ? MakeCells(options, seed) : MakeNeurons(options, seed);
}
