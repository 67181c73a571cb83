#include "tools/samples/plane.h"

namespace {

// The weights 0..radius of a symmetric kernel whose sum over both sides is 1.
std::vector<float> GaussianWeights(float sigma) {
  std::vector<float> weights(static_cast<std::size_t>(std::ceil(3 * sigma)) + 1);
  float sum = 0;
  for (std::size_t i = 0; i < weights.size(); ++i) {
    weights[i] = Bell(static_cast<float>(i) / sigma);
    sum += i == 0 ? weights[i] : 2 * weights[i];
  }
  for (float& weight : weights) weight /= sum;
  return weights;
}

void BlurRows(SPlane* plane, const std::vector<float>& weights) {
  const int radius = static_cast<int>(weights.size()) - 1;
  const auto width = static_cast<std::size_t>(plane->width);
  std::vector<float> padded(width + 2 * static_cast<std::size_t>(radius));
  for (int y = 0; y < plane->height; ++y) {
    float* row = plane->Row(y);
    for (std::size_t i = 0; i < padded.size(); ++i)
      padded[i] = row[std::clamp(static_cast<int>(i) - radius, 0, plane->width - 1)];
    const float* centre = padded.data() + radius;
    for (std::size_t x = 0; x < width; ++x) row[x] = weights[0] * centre[x];
    for (int k = 1; k <= radius; ++k) {
      const float weight = weights[static_cast<std::size_t>(k)];
      const float *left = centre - k, *right = centre + k;
      for (std::size_t x = 0; x < width; ++x) row[x] += weight * (left[x] + right[x]);
    }
  }
}

void BlurColumns(SPlane* plane, const std::vector<float>& weights) {
  const SPlane source = *plane;
  const int radius = static_cast<int>(weights.size()) - 1;
  const auto width = static_cast<std::size_t>(plane->width);
  for (int y = 0; y < plane->height; ++y) {
    float* row = plane->Row(y);
    const float* centre = source.Row(y);
    for (std::size_t x = 0; x < width; ++x) row[x] = weights[0] * centre[x];
    for (int k = 1; k <= radius; ++k) {
      const float weight = weights[static_cast<std::size_t>(k)];
      const float *above = source.Row(std::max(0, y - k)), *below = source.Row(std::min(plane->height - 1, y + k));
      for (std::size_t x = 0; x < width; ++x) row[x] += weight * (above[x] + below[x]);
    }
  }
}

}  // namespace

void Blur(SPlane* plane, float sigma) {
  if (sigma < 0.3f || plane->values.empty()) return;
  const std::vector<float> weights = GaussianWeights(sigma);
  BlurRows(plane, weights);
  BlurColumns(plane, weights);
}

void Splat(SPlane* plane, float x, float y, float amount) {
  const float floorX = std::floor(x), floorY = std::floor(y);
  const int ix = static_cast<int>(floorX), iy = static_cast<int>(floorY);
  if (!plane->Contains(ix, iy) || !plane->Contains(ix + 1, iy + 1)) return;
  const float dx = x - floorX, dy = y - floorY;
  float *upper = plane->Row(iy) + ix, *lower = plane->Row(iy + 1) + ix;
  upper[0] += amount * (1 - dx) * (1 - dy);
  upper[1] += amount * dx * (1 - dy);
  lower[0] += amount * (1 - dx) * dy;
  lower[1] += amount * dx * dy;
}

std::vector<std::uint16_t> Expose(const SPlane& light, const SCamera& camera, CRandom& random) {
  std::vector<std::uint16_t> counts(light.values.size());
  for (std::size_t i = 0; i < counts.size(); ++i) {
    const float signal = std::max(0.0f, light.values[i]) * camera.gain;
    const float noise = std::sqrt(signal / camera.electronsPerCount + camera.readNoise * camera.readNoise);
    const float count = camera.offset + signal + noise * random.Normal();
    counts[i] = static_cast<std::uint16_t>(std::clamp(count + 0.5f, 0.0f, static_cast<float>(camera.maximum)));
  }
  return counts;
}

std::uint8_t ToByte(float value) { return static_cast<std::uint8_t>(std::clamp(value, 0.0f, 1.0f) * 255 + 0.5f); }

std::vector<std::uint8_t> ToBytes(const SPlane& plane) {
  std::vector<std::uint8_t> bytes(plane.values.size());
  std::transform(plane.values.begin(), plane.values.end(), bytes.begin(), ToByte);
  return bytes;
}
