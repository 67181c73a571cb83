#pragma once

#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <unordered_map>

namespace imageformats::tiff::ome {

// The elements of a document that others refer to, found once so that a document of thousands of images resolves its
// references in one pass. Refers to the document's nodes.
class COmeIndex {
 public:
  explicit COmeIndex(pugi::xml_node root);

  // The element of that kind and identifier among the root's children and grandchildren; empty when there is none.
  pugi::xml_node Find(std::string_view kind, const std::string& id) const;
  // The root's child of that kind when it is the only one.
  pugi::xml_node FindOnly(std::string_view kind) const;
  // What the child `reference` of `node` refers to; without such a child the only element of the kind.
  pugi::xml_node Resolve(pugi::xml_node node, std::string_view reference, std::string_view kind) const;
  // Plate and well ("Plate 1 B3") whose sample refers to the image; empty when none does.
  const std::string& WellOf(const std::string& imageId) const;

 private:
  void AddPlate(pugi::xml_node plate);

  std::unordered_map<std::string, pugi::xml_node> m_byId;
  std::unordered_map<std::string, pugi::xml_node> m_only;  // an empty node where there are several
  std::unordered_map<std::string, std::string> m_wells;
};

}  // namespace imageformats::tiff::ome
