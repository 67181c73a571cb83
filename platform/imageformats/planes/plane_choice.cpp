#include "platform/imageformats/planes/plane_choice.h"

#include <algorithm>

namespace imageformats {

namespace {

std::uint32_t ChosenZ(const SPlaneStack& stack, const SViewChoice& view) noexcept {
  switch (view.planes) {
    case EPlaneChoice::kFirst:
      return 0;
    case EPlaneChoice::kLast:
      return stack.sizeZ - 1;
    case EPlaneChoice::kGiven:
      return std::min(view.z, stack.sizeZ - 1);
    default:
      return std::min(stack.ownZ.value_or(stack.sizeZ / 2), stack.sizeZ - 1);
  }
}

bool IsProjection(const SViewChoice& view) noexcept {
  return view.planes == EPlaneChoice::kMaximum || view.planes == EPlaneChoice::kMean;
}

}  // namespace

std::vector<SPlaneIndex> ChosenPlanes(const SPlaneStack& stack, const SViewChoice& view) {
  SPlaneIndex plane;
  plane.t = std::min(view.t, stack.sizeT - 1);
  plane.position = std::min(view.position == kOwnPosition ? stack.ownPosition : view.position, stack.positions - 1);
  if (!IsProjection(view) || stack.sizeZ == 1) {
    plane.z = ChosenZ(stack, view);
    return {plane};
  }
  const std::uint32_t count = std::min(stack.sizeZ, kMostProjectedPlanes);
  std::vector<SPlaneIndex> planes;
  for (std::uint32_t i = 0; i < count; ++i) {
    plane.z = static_cast<std::uint32_t>(std::uint64_t{i} * (stack.sizeZ - 1) / (count - 1));
    planes.push_back(plane);
  }
  return planes;
}

std::vector<SPlaneIndex> PlanesAround(const SPlaneStack& stack, const SViewChoice& view, const SPlaneIndex& plane) {
  if (view.planes != EPlaneChoice::kMiddle) return {};
  const bool alongZ = stack.sizeZ > 1;
  if (!alongZ && view.t != 0) return {};
  const std::int64_t from = alongZ ? plane.z : plane.t, size = alongZ ? stack.sizeZ : stack.sizeT;
  std::vector<SPlaneIndex> around;
  const auto add = [&](std::int64_t place) {
    if (place < 0 || place >= size) return;
    SPlaneIndex other = plane;
    (alongZ ? other.z : other.t) = static_cast<std::uint32_t>(place);
    around.push_back(other);
  };
  for (std::int64_t distance = 1; distance < size; distance *= 2) {
    add(from - distance);
    add(from + distance);
  }
  return around;
}

std::vector<std::uint32_t> ShownChannels(const SPlaneStack& stack, const SRenderRequest& request) {
  const std::uint32_t mask = request.channels & request.view.channels;
  const auto collect = [&](auto&& isShown) {
    std::vector<std::uint32_t> shown;
    for (std::uint32_t i = 0; i < stack.channels.size(); ++i) {
      if (isShown(i)) shown.push_back(i);
    }
    return shown;
  };
  const auto isNamed = [&](std::uint32_t i) { return i >= 32 || (mask >> i & 1) != 0; };
  if (mask != kAllChannels) return collect(isNamed);
  std::vector<std::uint32_t> shown = collect([&](std::uint32_t i) { return !stack.channels[i].isOff; });
  if (shown.empty()) shown = collect([](std::uint32_t) { return true; });
  if (shown.size() > kMostOwnChannels) shown.resize(kMostOwnChannels);
  return shown;
}

}  // namespace imageformats
