#include "tools/samples/stack.h"

#include <algorithm>

SRgbImage Composite(const SStack& stack) {
  SRgbImage image(stack.width, stack.height);
  const std::size_t count = stack.planes.front().size();
  std::vector<SColor> light(count);
  for (std::size_t c = 0; c < stack.channels.size(); ++c) {
    const auto& plane = stack.planes[static_cast<std::size_t>(stack.sizeZ / 2) * stack.channels.size() + c];
    std::vector<std::uint16_t> sorted = plane;
    std::sort(sorted.begin(), sorted.end());
    const auto low = static_cast<float>(sorted[count / 1000]),
               high = static_cast<float>(sorted[count - 1 - count / 1000]);
    const std::uint32_t rgb = stack.channels[c].color;
    const SColor color{static_cast<float>(rgb >> 16) / 255, static_cast<float>((rgb >> 8) & 255) / 255,
                       static_cast<float>(rgb & 255) / 255};
    for (std::size_t i = 0; i < count; ++i) {
      light[i] =
          light[i] + color * std::clamp((static_cast<float>(plane[i]) - low) / std::max(1.0f, high - low), 0.0f, 1.0f);
    }
  }
  for (std::size_t i = 0; i < count; ++i) {
    image.Set(static_cast<int>(i) % stack.width, static_cast<int>(i) / stack.width, light[i]);
  }
  return image;
}
