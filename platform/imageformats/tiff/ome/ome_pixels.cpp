#include "platform/imageformats/tiff/ome/ome_pixels.h"

#include <algorithm>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"
#include "platform/imageformats/tiff/ome/ome_node.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"

namespace imageformats::tiff::ome {
namespace {

std::string FirstOf(pugi::xml_node node, std::initializer_list<std::string_view> names) {
  for (std::string_view name : names) {
    if (std::string text = Value(node, name); !text.empty()) return text;
  }
  return {};
}

// An image of the first schemas may have several Pixels: the ones in TIFF files, preferably the default ones. Without a
// word on where they lie, they are the file's pages.
pugi::xml_node ChoosePixels(pugi::xml_node image) {
  const std::string preferred = Attribute(image, "DefaultPixels");
  pugi::xml_node chosen, silent;
  ForEach(image, "Pixels", [&](pugi::xml_node pixels) {
    const bool isPreferred = !preferred.empty() && Id(pixels) == preferred;
    if (Child(pixels, "TiffData")) {
      if (!chosen || isPreferred) chosen = pixels;
    } else if (!Child(pixels, "BinData") && (!silent || isPreferred)) {
      silent = pixels;
    }
  });
  return chosen ? chosen : silent;
}

SOmeTiffData ReadTiffData(pugi::xml_node node) {
  SOmeTiffData data;
  data.firstZ = Unsigned(Attribute(node, "FirstZ"), 0);
  data.firstC = Unsigned(Attribute(node, "FirstC"), 0);
  data.firstT = Unsigned(Attribute(node, "FirstT"), 0);
  data.ifd = OptionalUnsigned(Attribute(node, "IFD"));
  data.planeCount = OptionalUnsigned(FirstOf(node, {"PlaneCount", "NumPlanes"}));
  const pugi::xml_node uuid = Child(node, "UUID");
  data.fileName = Attribute(uuid, "FileName");
  data.uuid = Trimmed(uuid.text().get());
  return data;
}

bool IsDimensionOrder(std::string order) {
  if (order.size() != 5 || order[0] != 'X' || order[1] != 'Y') return false;
  std::sort(order.begin() + 2, order.end());
  return order.substr(2) == "CTZ";
}

bool ReadSizes(pugi::xml_node pixels, SOmeImage* image) {
  std::string order = Attribute(pixels, "DimensionOrder");
  for (char& c : order) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  if (IsDimensionOrder(order)) image->dimensionOrder = order;
  image->pixelType = LowerAscii(FirstOf(pixels, {"Type", "PixelType"}));
  image->sizeX = Unsigned(Attribute(pixels, "SizeX"), 0);
  image->sizeY = Unsigned(Attribute(pixels, "SizeY"), 0);
  image->sizeZ = std::max(Unsigned(Attribute(pixels, "SizeZ"), 1), 1u);
  image->sizeC = std::max(Unsigned(Attribute(pixels, "SizeC"), 1), 1u);
  image->sizeT = std::max(Unsigned(Attribute(pixels, "SizeT"), 1), 1u);
  image->significantBits = std::min(Unsigned(Attribute(pixels, "SignificantBits"), 0), 64u);
  constexpr std::uint64_t kMaxPlanes = 1u << 30;
  const std::uint64_t zt = std::uint64_t{image->sizeZ} * image->sizeT;
  return zt <= kMaxPlanes && image->sizeC <= kMaxPlanes / zt;
}

double FirstLength(pugi::xml_node pixels, pugi::xml_node image, std::string_view now, std::string_view former) {
  const double value = Micrometres(pixels, now);
  return PlausibleLength(value != 0.0 ? value : Micrometres(image, former));
}

void ReadCalibration(pugi::xml_node node, pugi::xml_node pixels, SOmeImage* image) {
  image->pixelWidth = FirstLength(pixels, node, "PhysicalSizeX", "PixelSizeX");
  image->pixelHeight = FirstLength(pixels, node, "PhysicalSizeY", "PixelSizeY");
  image->zStep = FirstLength(pixels, node, "PhysicalSizeZ", "PixelSizeZ");
  image->timeStep = Seconds(pixels, "TimeIncrement");
  if (image->timeStep == 0.0) image->timeStep = Seconds(node, "TimeIncrement");
  image->timeStep = std::max(image->timeStep, 0.0);
}

void SetPosition(pugi::xml_node node, const char* x, const char* y, const char* z, SOmePosition* position) {
  if (Attribute(node, x).empty() && Attribute(node, y).empty()) return;
  const std::string unit = Attribute(node, std::string(x) + "Unit");
  position->text = Attribute(node, x) + ", " + Attribute(node, y);
  if (const std::string height = Attribute(node, z); !height.empty()) position->text += ", " + height;
  position->text += unit.empty() ? "" : " " + unit;
  position->x = Micrometres(node, x);
  position->y = Micrometres(node, y);
  position->z = Micrometres(node, z);
  // In a unit that is no length ("reference frame") every coordinate reads as 0.
  position->known = position->x != 0.0 || Number(Attribute(node, x)) == 0.0;
}

// Times, exposures and the position that plane elements state. Timing and position are attributes since 2009-09,
// children before.
void ReadPlanes(pugi::xml_node pixels, SOmeImage* image) {
  double firstTime = 0.0, lastTime = 0.0;
  std::uint32_t last = 0;
  bool seen = false, timed = false;
  ForEach(pixels, "Plane", [&](pugi::xml_node plane) {
    const std::uint32_t c = Unsigned(Attribute(plane, "TheC"), 0), z = Unsigned(Attribute(plane, "TheZ"), 0);
    const std::uint32_t t = Unsigned(Attribute(plane, "TheT"), 0);
    const pugi::xml_node former = Child(plane, "PlaneTiming");
    const pugi::xml_node timing = former ? former : plane;
    if (!seen) {
      const pugi::xml_node stage = Child(plane, "StagePosition");
      SetPosition(stage ? stage : plane, "PositionX", "PositionY", "PositionZ", &image->position);
      seen = true;
    }
    if (z == 0 && t == 0 && c < image->channels.size()) {
      image->channels[c].exposure = std::max(Seconds(timing, "ExposureTime") * 1000.0, 0.0);
    }
    if (z != 0 || c != 0 || Value(timing, "DeltaT").empty()) return;
    if (t == 0) firstTime = Seconds(timing, "DeltaT"), timed = true;
    if (t > last) lastTime = Seconds(timing, "DeltaT"), last = t;
  });
  if (image->timeStep == 0.0 && timed && last > 0 && lastTime > firstTime) {
    image->timeStep = (lastTime - firstTime) / last;
  }
}

}  // namespace

bool ReadPixels(const COmeIndex& index, pugi::xml_node imageNode, SOmeImage* image) {
  const pugi::xml_node pixels = ChoosePixels(imageNode);
  if (!pixels || !ReadSizes(pixels, image)) return false;
  ReadCalibration(imageNode, pixels, image);
  ForEach(pixels, "TiffData", [&](pugi::xml_node node) {
    if (image->tiffData.size() < kMaxOmeTiffData) image->tiffData.push_back(ReadTiffData(node));
  });
  ReadChannels(index, imageNode, pixels, image);
  ReadPlanes(pixels, image);
  if (const pugi::xml_node label = Child(imageNode, "StageLabel")) {
    image->position.name = Attribute(label, "Name");
    if (image->position.text.empty()) SetPosition(label, "X", "Y", "Z", &image->position);
  }
  image->date = FirstOf(imageNode, {"AcquisitionDate", "AcquiredDate", "CreationDate"});
  return true;
}

}  // namespace imageformats::tiff::ome
