#pragma once

#include <optional>

#include "platform/imageformats/tiff/blocks/block_source.h"

namespace imageformats::tiff {

// Averages of a page of JPEG tiles or strips from the means of their blocks alone, which are stored as such: for
// pictures of many more pixels than are wanted. Nothing when the page, the size wanted or any of its streams is not for
// it; the ordinary way decides then. Throws CDamagedError for streams that are missing.
std::optional<SAveragedPicture> ReduceByBlockMeans(CTiffHandle& tiff, const SPage& page, SSize displayed,
                                                   CRenderGuard& guard);

}  // namespace imageformats::tiff
