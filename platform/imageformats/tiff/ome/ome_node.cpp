#include "platform/imageformats/tiff/ome/ome_node.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"

namespace imageformats::tiff::ome {
namespace {

pugi::xml_attribute Find(pugi::xml_node node, std::string_view local) {
  for (pugi::xml_attribute a : node.attributes()) {
    if (NameIs(a.name(), local)) return a;
  }
  return {};
}

double Scaled(pugi::xml_node node, std::string_view local, double (*unitFactor)(const std::string&)) {
  const double value = Number(Value(node, local));
  return value == 0.0 ? 0.0 : value * unitFactor(Attribute(node, std::string(local) + "Unit"));
}

double LengthFactor(const std::string& unit) { return unit.empty() ? 1.0 : MicrometresPer(unit).value_or(0.0); }
double TimeFactor(const std::string& unit) { return unit.empty() ? 1.0 : SecondsPer(unit).value_or(0.0); }

}  // namespace

std::string_view LocalName(const char* qualified) {
  std::string_view name(qualified);
  if (const auto colon = name.rfind(':'); colon != std::string_view::npos) name.remove_prefix(colon + 1);
  return name;
}

bool NameIs(const char* qualified, std::string_view local) {
  const std::string_view name = LocalName(qualified);
  return std::equal(name.begin(), name.end(), local.begin(), local.end(),
                    [](char a, char b) { return LowerAscii(a) == LowerAscii(b); });
}

pugi::xml_node Child(pugi::xml_node parent, std::string_view local) {
  for (pugi::xml_node child : parent.children()) {
    if (child.type() == pugi::node_element && NameIs(child.name(), local)) return child;
  }
  return {};
}

std::string Attribute(pugi::xml_node node, std::string_view local) {
  return std::string(Trimmed(Find(node, local).value()));
}

bool HasAttribute(pugi::xml_node node, std::string_view local) { return !Find(node, local).empty(); }

std::string Value(pugi::xml_node node, std::string_view local) {
  if (HasAttribute(node, local)) return Attribute(node, local);
  return std::string(Trimmed(Child(node, local).text().get()));
}

double Number(const std::string& text, double fallback) {
  double value = 0.0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end && std::isfinite(value) ? value : fallback;
}

std::optional<std::uint32_t> OptionalUnsigned(const std::string& text) {
  std::uint32_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end) return std::nullopt;
  return value;
}

std::uint32_t Unsigned(const std::string& text, std::uint32_t fallback) {
  return OptionalUnsigned(text).value_or(fallback);
}

std::string Id(pugi::xml_node node) {
  if (HasAttribute(node, "ID")) return Attribute(node, "ID");
  std::string_view name = LocalName(node.name());
  if (name.size() > 3 && name.ends_with("Ref")) name.remove_suffix(3);
  return Attribute(node, std::string(name) + "ID");
}

double Micrometres(pugi::xml_node node, std::string_view local) { return Scaled(node, local, LengthFactor); }
double Seconds(pugi::xml_node node, std::string_view local) { return Scaled(node, local, TimeFactor); }

}  // namespace imageformats::tiff::ome
