#pragma once

#include <pugixml.hpp>

#include "platform/imageformats/tiff/ome/ome_model.h"

namespace imageformats::tiff::ome {

// Fills the document's plates: the root's Plate elements with the wells that samples of images were taken of. Wells
// that no plate has (above row 1000, say) are left out, and so are those above the limits.
void ReadPlates(pugi::xml_node root, SOmeDocument* document);

}  // namespace imageformats::tiff::ome
