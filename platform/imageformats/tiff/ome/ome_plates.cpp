#include "platform/imageformats/tiff/ome/ome_plates.h"

#include "platform/imageformats/tiff/ome/ome_node.h"

namespace imageformats::tiff::ome {
namespace {

constexpr std::size_t kMaxPlates = 64;
constexpr std::size_t kMaxWells = 16384;
constexpr std::uint32_t kMaxPlateSide = 256;

void ReadWell(pugi::xml_node node, SOmePlate* plate) {
  SOmeWell well;
  well.row = Unsigned(Attribute(node, "Row"), 0);
  well.column = Unsigned(Attribute(node, "Column"), 0);
  if (plate->wells.size() >= kMaxWells || well.row >= kMaxPlateSide || well.column >= kMaxPlateSide) return;
  ForEach(node, "WellSample", [&](pugi::xml_node sample) {
    if (std::string image = Id(Child(sample, "ImageRef")); !image.empty()) well.images.push_back(std::move(image));
  });
  if (!well.images.empty()) plate->wells.push_back(std::move(well));
}

std::uint32_t Side(pugi::xml_node plate, std::string_view name) {
  const std::uint32_t side = Unsigned(Attribute(plate, name), 0);
  return side <= kMaxPlateSide ? side : 0;
}

}  // namespace

void ReadPlates(pugi::xml_node root, SOmeDocument* document) {
  ForEach(root, "Plate", [&](pugi::xml_node node) {
    if (document->plates.size() >= kMaxPlates) return;
    SOmePlate plate;
    plate.name = Value(node, "Name");
    if (plate.name.empty()) plate.name = Id(node);
    plate.rows = Side(node, "Rows");
    plate.columns = Side(node, "Columns");
    ForEach(node, "Well", [&](pugi::xml_node well) { ReadWell(well, &plate); });
    if (!plate.wells.empty()) document->plates.push_back(std::move(plate));
  });
}

}  // namespace imageformats::tiff::ome
