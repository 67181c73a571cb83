#include "platform/imageformats/tiff/ome/ome_xml.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/ome/ome_acquisition.h"
#include "platform/imageformats/tiff/ome/ome_node.h"
#include "platform/imageformats/tiff/ome/ome_pixels.h"
#include "platform/imageformats/tiff/ome/ome_plates.h"

namespace imageformats::tiff {
namespace {

// A parsed node takes 64 bytes and an attribute 40 (pugixml's layout on 64 bits); a short text full of tags must not
// grow into gigabytes.
constexpr std::size_t kMaxNodeBytes = 96u << 20;

bool FitsMemory(std::string_view text) {
  const auto tags = static_cast<std::size_t>(std::count(text.begin(), text.end(), '<'));
  const auto attributes = static_cast<std::size_t>(std::count(text.begin(), text.end(), '='));
  return tags * 128 + attributes * 40 <= kMaxNodeBytes;
}

struct CDepthLimit : pugi::xml_tree_walker {
  bool for_each(pugi::xml_node&) override { return depth() < kMaxOmeXmlDepth; }
};

pugi::xml_node Root(const pugi::xml_document& document) { return ome::Child(document, "OME"); }

// Images without TiffData: next to others that have it they lie elsewhere; else their planes follow each other.
void PlaceSilentImages(std::vector<SOmeImage>* images) {
  const auto isSilent = [](const SOmeImage& image) { return image.tiffData.empty(); };
  if (!std::all_of(images->begin(), images->end(), isSilent)) {
    std::erase_if(*images, isSilent);
    return;
  }
  if (images->size() < 2) return;
  std::uint64_t next = 0;
  for (SOmeImage& image : *images) {
    const std::uint64_t planes = std::uint64_t{image.ChannelPlanes()} * image.sizeZ * image.sizeT;
    SOmeTiffData data;
    data.ifd = static_cast<std::uint32_t>(std::min<std::uint64_t>(next, 0xFFFFFFFFu));
    data.planeCount = static_cast<std::uint32_t>(planes);
    image.tiffData.push_back(std::move(data));
    next += planes;
  }
}

// The images that lie in TIFF files; others (binary data inside the XML) are left out.
void ReadImages(pugi::xml_node root, SOmeDocument* document) {
  const ome::COmeIndex index(root);
  ome::ForEach(root, "Image", [&](pugi::xml_node node) {
    if (document->images.size() >= kMaxOmeImages) return;
    SOmeImage image;
    image.id = ome::Id(node);
    image.name = ome::Value(node, "Name");
    image.description = ome::Value(node, "Description");
    if (!ome::ReadPixels(index, node, &image)) return;
    ome::ReadAcquisition(index, node, &image);
    document->images.push_back(std::move(image));
  });
}

}  // namespace

const SOmeTiffData& SOmeImage::TiffData(std::size_t index) const {
  static const SOmeTiffData kWholeFile;
  return tiffData.empty() ? kWholeFile : tiffData[index];
}

std::uint32_t SOmeImage::ChannelPlanes() const {
  std::uint64_t samples = 0;
  for (const SOmeChannel& channel : channels) samples += channel.samplesPerPixel;
  const std::uint32_t planes = samples == sizeC ? static_cast<std::uint32_t>(channels.size()) : sizeC;
  return std::max(planes, 1u);
}

bool LooksLikeOmeXml(std::string_view text) {
  // The declaration and the usual warning comment stay below this.
  text = text.substr(0, 8192);
  const auto start = text.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
  if (start == std::string_view::npos || text[start] != '<') return false;
  for (std::string_view tag : {"<OME ", "<OME>", "<OME\n", "<OME\r", "<OME\t", ":OME ", ":OME\n", ":OME\r"}) {
    if (text.find(tag) != std::string_view::npos) return true;
  }
  // The comment that every writer puts before the root.
  return text.substr(start).starts_with("<?xml") && text.find("OME-XML") != std::string_view::npos;
}

bool ParseOmeXml(std::string_view text, SOmeDocument* document, std::string* error) {
  if (text.size() > kMaxOmeXmlBytes || !FitsMemory(text)) {
    *error = "the OME-XML is too large";
    return false;
  }
  pugi::xml_document xml;
  constexpr unsigned kFlags = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_eol | pugi::parse_wconv_attribute;
  const pugi::xml_parse_result parsed = xml.load_buffer(text.data(), text.size(), kFlags);
  if (!parsed) throw CDamagedError(std::string("The OME-XML is damaged: ") + parsed.description());
  CDepthLimit depth;
  if (!xml.traverse(depth)) {
    *error = "the OME-XML is nested too deeply";
    return false;
  }
  *document = SOmeDocument();
  const pugi::xml_node root = Root(xml);
  document->uuid = ome::Attribute(root, "UUID");
  document->creator = ome::Attribute(root, "Creator");
  document->metadataFile = ome::Attribute(ome::Child(root, "BinaryOnly"), "MetadataFile");
  ReadImages(root, document);
  PlaceSilentImages(&document->images);
  ome::ReadPlates(root, document);
  if (document->images.empty() && document->metadataFile.empty()) {
    *error = "the OME-XML describes no image";
    return false;
  }
  return true;
}

}  // namespace imageformats::tiff
