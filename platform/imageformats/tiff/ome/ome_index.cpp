#include "platform/imageformats/tiff/ome/ome_index.h"

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/tiff/ome/ome_node.h"

namespace imageformats::tiff::ome {
namespace {

std::string Key(std::string_view kind, const std::string& id) { return LowerAscii(kind) + '\n' + id; }

// A well as people call it: rows by letters, columns by numbers. Indices count from 0.
std::string WellName(pugi::xml_node well) {
  const std::uint64_t row = Unsigned(Attribute(well, "Row"), 0);
  std::string letters;
  for (std::uint64_t r = row + 1; r > 0; r = (r - 1) / 26) {
    letters.insert(letters.begin(), static_cast<char>('A' + (r - 1) % 26));
  }
  return letters + std::to_string(std::uint64_t{Unsigned(Attribute(well, "Column"), 0)} + 1);
}

}  // namespace

COmeIndex::COmeIndex(pugi::xml_node root) {
  const auto add = [this](pugi::xml_node node) {
    if (const std::string id = Id(node); !id.empty()) m_byId.try_emplace(Key(LocalName(node.name()), id), node);
  };
  for (pugi::xml_node child : root.children()) {
    if (child.type() != pugi::node_element) continue;
    const auto [place, first] = m_only.try_emplace(LowerAscii(LocalName(child.name())), child);
    if (!first) place->second = pugi::xml_node();
    add(child);
    if (NameIs(child.name(), "Plate")) AddPlate(child);
    for (pugi::xml_node grandchild : child.children()) {
      if (grandchild.type() == pugi::node_element) add(grandchild);
    }
  }
}

void COmeIndex::AddPlate(pugi::xml_node plate) {
  const std::string name = Value(plate, "Name");
  ForEach(plate, "Well", [&](pugi::xml_node well) {
    ForEach(well, "WellSample", [&](pugi::xml_node sample) {
      const std::string image = Id(Child(sample, "ImageRef"));
      if (!image.empty()) m_wells.try_emplace(image, (name.empty() ? "" : name + " ") + WellName(well));
    });
  });
}

pugi::xml_node COmeIndex::Find(std::string_view kind, const std::string& id) const {
  const auto hit = id.empty() ? m_byId.end() : m_byId.find(Key(kind, id));
  return hit == m_byId.end() ? pugi::xml_node() : hit->second;
}

pugi::xml_node COmeIndex::FindOnly(std::string_view kind) const {
  const auto hit = m_only.find(LowerAscii(kind));
  return hit == m_only.end() ? pugi::xml_node() : hit->second;
}

pugi::xml_node COmeIndex::Resolve(pugi::xml_node node, std::string_view reference, std::string_view kind) const {
  const pugi::xml_node ref = Child(node, reference);
  return ref ? Find(kind, Id(ref)) : FindOnly(kind);
}

const std::string& COmeIndex::WellOf(const std::string& imageId) const {
  static const std::string kNone;
  const auto hit = m_wells.find(imageId);
  return hit == m_wells.end() ? kNone : hit->second;
}

}  // namespace imageformats::tiff::ome
