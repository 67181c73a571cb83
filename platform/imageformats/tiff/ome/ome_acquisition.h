#pragma once

#include <pugixml.hpp>

#include "platform/imageformats/tiff/ome/ome_index.h"
#include "platform/imageformats/tiff/ome/ome_model.h"

namespace imageformats::tiff::ome {

// Fills who took the image of an Image element and with what: experimenter, group, kind of experiment, microscope,
// objective, and the plate's well that it belongs to, following its references.
void ReadAcquisition(const COmeIndex& index, pugi::xml_node imageNode, SOmeImage* image);

}  // namespace imageformats::tiff::ome
