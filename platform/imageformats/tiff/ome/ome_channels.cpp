#include <algorithm>
#include <charconv>

#include "platform/imageformats/base/units.h"
#include "platform/imageformats/tiff/ome/ome_node.h"
#include "platform/imageformats/tiff/ome/ome_pixels.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"

namespace imageformats::tiff::ome {
namespace {

// A colour is a signed 32-bit RGBA value. Until 2012-06 the schema's own default was the transparent red -2147483648,
// which writers stored without meaning it; black would hide the channel.
std::optional<std::uint32_t> ReadColor(const std::string& text) {
  std::int64_t value = 0;
  const char* end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  if (error != std::errc() || stop != end || value == -2147483648LL) return std::nullopt;
  const std::uint32_t rgb = static_cast<std::uint32_t>(value) >> 8;
  if (rgb == 0) return std::nullopt;
  return rgb;
}

// The colour domain of a channel component in the schemas before 2009-09.
std::optional<std::uint32_t> ReadColorDomain(const std::string& text) {
  if (text.empty()) return std::nullopt;
  switch (text[0]) {
    case 'R':
    case 'r':
      return 0xFF0000u;
    case 'G':
    case 'g':
      return text == "Gray" || text == "gray" || text == "Grey" ? 0xFFFFFFu : 0x00FF00u;
    case 'B':
    case 'b':
      return 0x0000FFu;
    default:
      return std::nullopt;
  }
}

// Wavelengths are nanometres unless a unit says otherwise.
double Wavelength(pugi::xml_node node, std::string_view now, std::string_view former) {
  const std::string text = Attribute(node, now);
  if (text.empty()) return std::max(Number(Attribute(node, former)), 0.0);
  const std::string unit = Attribute(node, std::string(now) + "Unit");
  const double toNanometres = unit.empty() ? 1.0 : MicrometresPer(unit).value_or(0.0) * 1000.0;
  return std::max(Number(text) * toNanometres, 0.0);
}

SOmeChannel ReadChannel(const COmeIndex& index, pugi::xml_node node) {
  SOmeChannel channel;
  channel.name = Attribute(node, "Name");
  if (channel.name.empty()) channel.name = Attribute(node, "Fluor");
  channel.color = ReadColor(Attribute(node, "Color"));
  if (!channel.color) channel.color = ReadColorDomain(Attribute(Child(node, "ChannelComponent"), "ColorDomain"));
  channel.excitation = Wavelength(node, "ExcitationWavelength", "ExWave");
  channel.emission = Wavelength(node, "EmissionWavelength", "EmWave");
  channel.samplesPerPixel = std::max(Unsigned(Attribute(node, "SamplesPerPixel"), 1), 1u);
  channel.acquisitionMode = Attribute(node, "AcquisitionMode");
  if (channel.acquisitionMode.empty()) channel.acquisitionMode = Attribute(node, "Mode");
  channel.contrastMethod = Attribute(node, "ContrastMethod");
  channel.illuminationType = Attribute(node, "IlluminationType");
  const pugi::xml_node settings = Child(node, "DetectorSettings");
  const pugi::xml_node detector = settings ? settings : Child(node, "DetectorRef");
  channel.detectorModel = Attribute(index.Find("Detector", Attribute(detector, "ID")), "Model");
  return channel;
}

// Writers that do not care give every channel the same colour; a composite of those would be grey.
void DropEqualColors(std::vector<SOmeChannel>* channels) {
  if (channels->size() < 2 || !channels->front().color) return;
  const auto same = [&](const SOmeChannel& c) { return c.color == channels->front().color; };
  if (!std::all_of(channels->begin(), channels->end(), same)) return;
  for (SOmeChannel& channel : *channels) channel.color.reset();
}

}  // namespace

void ReadChannels(const COmeIndex& index, pugi::xml_node imageNode, pugi::xml_node pixels, SOmeImage* image) {
  const auto add = [&](pugi::xml_node node) {
    if (image->channels.size() < kMaxOmeChannels) image->channels.push_back(ReadChannel(index, node));
  };
  ForEach(pixels, "Channel", add);
  if (image->channels.empty()) ForEach(imageNode, "LogicalChannel", add);
  if (image->channels.empty()) ForEach(imageNode, "ChannelInfo", add);
  DropEqualColors(&image->channels);
}

}  // namespace imageformats::tiff::ome
