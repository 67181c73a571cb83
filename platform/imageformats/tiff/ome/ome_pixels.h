#pragma once

#include <pugixml.hpp>

#include "platform/imageformats/tiff/ome/ome_index.h"
#include "platform/imageformats/tiff/ome/ome_model.h"

namespace imageformats::tiff::ome {

// Fills the pixel part of *image (sizes, type, channels, TiffData, positions and times of planes) from an Image
// element. False when the element has no Pixels that may lie in TIFF files or their sizes are impossible.
bool ReadPixels(const COmeIndex& index, pugi::xml_node imageNode, SOmeImage* image);

// Channels of the Pixels element, or the LogicalChannel elements that the schemas before 2009-09 keep in the image.
void ReadChannels(const COmeIndex& index, pugi::xml_node imageNode, pugi::xml_node pixels, SOmeImage* image);

}  // namespace imageformats::tiff::ome
