#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// What this codec takes from an OME-XML document (OME model, schemas 2003-FC to 2016-06). Texts are UTF-8 and empty
// when the document is silent; numbers are 0 when unknown unless said otherwise.
namespace imageformats::tiff {

// A run of planes that lie one after the other in a file, in the dimension order of the image.
struct SOmeTiffData {
  std::uint32_t firstZ = 0, firstC = 0, firstT = 0;
  std::optional<std::uint32_t> ifd;         // of the first plane; nothing: 0
  std::optional<std::uint32_t> planeCount;  // nothing: 1 when an IFD is given, else all that the file holds
  std::string fileName;                     // empty: the file that holds the document
  std::string uuid;
};

struct SOmeChannel {
  std::string name;
  std::optional<std::uint32_t> color;  // 0x00RRGGBB; nothing when left at the schema's default
  double excitation = 0.0;             // nanometres
  double emission = 0.0;               // nanometres
  double exposure = 0.0;               // milliseconds
  std::uint32_t samplesPerPixel = 1;
  std::string acquisitionMode;   // e.g. "SpinningDiskConfocal"
  std::string contrastMethod;    // e.g. "DIC"
  std::string illuminationType;  // e.g. "Transmitted"
  std::string detectorModel;
};

struct SOmePosition {
  std::string name;
  std::string text;                  // the coordinates with their unit, for people
  double x = 0.0, y = 0.0, z = 0.0;  // micrometres
  bool known = false;                // false when the document gives none, or in a unit that is no length
};

struct SOmeObjective {
  std::string model, manufacturer, immersion;
  double magnification = 0.0, aperture = 0.0;
};

// An Image element together with the Pixels element that lies in TIFF files. A single image may be without TiffData.
struct SOmeImage {
  std::string id, name, description, date;
  std::string experimenter, group, experimentType, microscope, well;
  SOmeObjective objective;
  SOmePosition position;

  std::string dimensionOrder = "XYZCT";
  std::string pixelType;  // lower case: "uint16", "float"
  std::uint32_t sizeX = 0, sizeY = 0, sizeZ = 1, sizeC = 1, sizeT = 1;
  std::uint32_t significantBits = 0;
  double pixelWidth = 0.0, pixelHeight = 0.0, zStep = 0.0;  // micrometres
  double timeStep = 0.0;                                    // seconds
  std::vector<SOmeChannel> channels;
  std::vector<SOmeTiffData> tiffData;

  // The element of that index; a document without a single one means all planes of its file in order.
  const SOmeTiffData& TiffData(std::size_t index) const;

  // Planes of one z and time: channels of several samples are one plane. At least 1.
  std::uint32_t ChannelPlanes() const;
};

struct SOmeWell {
  std::uint32_t row = 0, column = 0;  // from 0
  std::vector<std::string> images;    // identifiers, at least one
};

struct SOmePlate {
  std::string name;
  std::uint32_t rows = 0, columns = 0;
  std::vector<SOmeWell> wells;  // at least one
};

struct SOmeDocument {
  std::string uuid;
  std::string creator;
  std::string metadataFile;  // of a BinaryOnly document: the plain name of the file that holds the full one
  std::vector<SOmeImage> images;
  std::vector<SOmePlate> plates;
};

}  // namespace imageformats::tiff
