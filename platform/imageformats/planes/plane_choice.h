#pragma once

#include <cstdint>
#include <vector>

#include "platform/imageformats/planes/plane_stack.h"

namespace imageformats {

// The planes that a view takes of a stack, in their order: one, or those of a projection. Channels are 0.
std::vector<SPlaneIndex> ChosenPlanes(const SPlaneStack& stack, const SViewChoice& view);

// Where to look when the plane that is shown by default holds nothing, the nearest first: along z, else along time.
// Empty when the view is another than the default.
std::vector<SPlaneIndex> PlanesAround(const SPlaneStack& stack, const SViewChoice& view, const SPlaneIndex& plane);

// The channels that a request shows, in their order.
std::vector<std::uint32_t> ShownChannels(const SPlaneStack& stack, const SRenderRequest& request);

}  // namespace imageformats
