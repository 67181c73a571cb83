#pragma once

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>

// Reading OME-XML nodes: names compare by their local part and without regard to ASCII case, because prefixes and
// casing changed between the schemas.
namespace imageformats::tiff::ome {

// Without the namespace prefix.
std::string_view LocalName(const char* qualified);
bool NameIs(const char* qualified, std::string_view local);

// The first child of that name; an empty node when there is none.
pugi::xml_node Child(pugi::xml_node parent, std::string_view local);

// The attribute's text; empty when there is none.
std::string Attribute(pugi::xml_node node, std::string_view local);
bool HasAttribute(pugi::xml_node node, std::string_view local);

// A value that some schemas keep in an attribute and others in a child element.
std::string Value(pugi::xml_node node, std::string_view local);

// Numbers; the fallback when missing, malformed, not finite or (unsigned) out of range.
double Number(const std::string& text, double fallback = 0.0);
std::uint32_t Unsigned(const std::string& text, std::uint32_t fallback);
std::optional<std::uint32_t> OptionalUnsigned(const std::string& text);

// The identifier of an element: "ID", or in the first schemas "<Element>ID".
std::string Id(pugi::xml_node node);

// A length in micrometres: the value under `local`, its unit under `local` + "Unit" (micrometres when absent). 0 when
// missing or in a unit that is no length.
double Micrometres(pugi::xml_node node, std::string_view local);
// Likewise in seconds.
double Seconds(pugi::xml_node node, std::string_view local);

// Every child element of that name.
template <class Visitor>
void ForEach(pugi::xml_node parent, std::string_view local, Visitor&& visit) {
  for (pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element && NameIs(child.name(), local)) visit(child);
  }
}

}  // namespace imageformats::tiff::ome
