#pragma once

#include <memory>

#include "platform/imageformats/planes/plane_stack.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// Names the planes of a dataset beside those of its overview.
class IPlaneLocator {
 public:
  virtual ~IPlaneLocator() = default;
  // `index.channel` counts planes of one z and time (SOverviewChannel::planeNumber). Where an OME document's plane is
  // not there, the nearest one that is, in time before z. Throws CDamagedError when there is none.
  virtual SPlane Locate(const SPlaneIndex& index) = 0;
};

// The locator refers to both.
std::unique_ptr<IPlaneLocator> NewPlaneLocator(CFileSet& files, const SDataset& dataset);

// That of OME documents; for NewPlaneLocator.
std::unique_ptr<IPlaneLocator> NewOmePlaneLocator(CFileSet& files, const SDataset& dataset);

}  // namespace imageformats::tiff
