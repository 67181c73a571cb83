#include "tools/samples/ome_xml.h"

#include <charconv>

#include "tools/samples/random.h"

namespace {

std::string Number(double value) {
  char text[32];
  return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

std::string Escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    switch (c) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '"':
        result += "&quot;";
        break;
      default:
        result += c;
    }
  }
  return result;
}

std::string Attribute(const char* name, const std::string& value) {
  return value.empty() ? "" : std::string(" ") + name + "=\"" + Escaped(value) + "\"";
}
std::string Attribute(const char* name, double value) { return Attribute(name, Number(value)); }
std::string Attribute(const char* name, int value) { return Attribute(name, std::to_string(value)); }

std::string Id(const char* kind, std::size_t number) {
  return Attribute("ID", std::string(kind) + ":" + std::to_string(number));
}

// Version 4, variant 1 of RFC 4122, drawn from the seed.
std::string MakeUuid(std::uint64_t seed) {
  static constexpr char kHex[] = "0123456789abcdef";
  CRandom random(seed, "uuid");
  std::string text;
  for (int i = 0; i < 32; ++i) {
    if (i == 8 || i == 12 || i == 16 || i == 20) text += '-';
    text += i == 12 ? '4' : i == 16 ? kHex[8 + random.Below(4)] : kHex[random.Below(16)];
  }
  return "urn:uuid:" + text;
}

std::string Lab(const SOmeDocument& document) {
  const std::string mail = document.lastName.empty() ? "" : "lab@example.org";
  return "<Experimenter" + Id("Experimenter", 0) + Attribute("FirstName", document.firstName) +
         Attribute("LastName", document.lastName) + Attribute("Email", mail) +
         Attribute("Institution", document.institution) + "/>\n<ExperimenterGroup" + Id("ExperimenterGroup", 0) +
         Attribute("Name", document.group) + "><ExperimenterRef" + Id("Experimenter", 0) + "/></ExperimenterGroup>\n";
}

std::string Instrument(const SOmeDocument& document) {
  const SOmeObjective& objective = document.objective;
  return "<Instrument" + Id("Instrument", 0) + "><Microscope Type=\"Inverted\"" +
         Attribute("Model", document.microscope) + "/><Detector" + Id("Detector", 0) +
         Attribute("Model", document.detector) + " Type=\"CMOS\"/><Objective" + Id("Objective", 0) +
         Attribute("Model", objective.model) + Attribute("Correction", objective.correction) +
         Attribute("Immersion", objective.immersion) + Attribute("LensNA", objective.aperture) +
         Attribute("NominalMagnification", objective.magnification) +
         Attribute("WorkingDistance", objective.workingDistance) + " WorkingDistanceUnit=\"µm\"/></Instrument>\n";
}

// The schema's colour is a signed number of red, green, blue and alpha, red on top.
std::string ColorValue(std::uint32_t rgb) { return std::to_string(static_cast<std::int32_t>((rgb << 8) | 0xFFu)); }

std::string Channels(const SOmeImage& image, std::size_t number) {
  const std::string prefix = "Channel:" + std::to_string(number) + ":";
  if (image.stack == nullptr) {
    return "<Channel" + Attribute("ID", prefix + "0") +
           " Name=\"Brightfield\" SamplesPerPixel=\"3\" IlluminationType=\"Transmitted\" "
           "ContrastMethod=\"Brightfield\"><LightPath/></Channel>\n";
  }
  std::string text;
  for (std::size_t c = 0; c < image.stack->channels.size(); ++c) {
    const SStackChannel& channel = image.stack->channels[c];
    text += "<Channel" + Attribute("ID", prefix + std::to_string(c)) + Attribute("Name", channel.name) +
            " SamplesPerPixel=\"1\" IlluminationType=\"Epifluorescence\" AcquisitionMode=\"WideField\" "
            "ContrastMethod=\"Fluorescence\"" +
            Attribute("ExcitationWavelength", channel.excitation) + " ExcitationWavelengthUnit=\"nm\"" +
            Attribute("EmissionWavelength", channel.emission) + " EmissionWavelengthUnit=\"nm\"" +
            Attribute("Fluor", channel.fluor) + Attribute("Color", ColorValue(channel.color)) + "><DetectorSettings" +
            Id("Detector", 0) + " Binning=\"1x1\"/></Channel>\n";
  }
  return text;
}

std::string Planes(const SOmeImage& image) {
  const SStack& stack = *image.stack;
  std::string text;
  for (int t = 0; t < stack.sizeT; ++t) {
    for (int z = 0; z < stack.sizeZ; ++z) {
      for (int c = 0; c < stack.SizeC(); ++c) {
        const int exposure = stack.channels[static_cast<std::size_t>(c)].exposure;
        text += "<Plane" + Attribute("TheZ", z) + Attribute("TheT", t) + Attribute("TheC", c) +
                Attribute("DeltaT", t * stack.interval) + " DeltaTUnit=\"s\"" + Attribute("ExposureTime", exposure) +
                " ExposureTimeUnit=\"ms\"";
        if (!image.stageLabel.empty()) {
          text += Attribute("PositionX", image.stageX) + " PositionXUnit=\"µm\"" +
                  Attribute("PositionY", image.stageY) + " PositionYUnit=\"µm\"" +
                  Attribute("PositionZ", image.stageZ + z * stack.zStep) + " PositionZUnit=\"µm\"";
        }
        text += "/>\n";
      }
    }
  }
  return text;
}

std::string Pixels(const SOmeImage& image, std::size_t number) {
  const SStack* stack = image.stack;
  const double pixelSize = stack ? stack->pixelSize : image.pixelSize;
  std::string text = "<Pixels" + Id("Pixels", number) + " DimensionOrder=\"XYCZT\"" +
                     Attribute("Type", stack ? "uint16" : "uint8") + Attribute("SignificantBits", stack ? 12 : 8) +
                     Attribute("Interleaved", stack ? "false" : "true") + " BigEndian=\"false\"" +
                     Attribute("SizeX", stack ? stack->width : image.width) +
                     Attribute("SizeY", stack ? stack->height : image.height) +
                     Attribute("SizeZ", stack ? stack->sizeZ : 1) + Attribute("SizeC", stack ? stack->SizeC() : 3) +
                     Attribute("SizeT", stack ? stack->sizeT : 1) + Attribute("PhysicalSizeX", pixelSize) +
                     " PhysicalSizeXUnit=\"µm\"" + Attribute("PhysicalSizeY", pixelSize) + " PhysicalSizeYUnit=\"µm\"";
  if (stack && stack->zStep > 0) text += Attribute("PhysicalSizeZ", stack->zStep) + " PhysicalSizeZUnit=\"µm\"";
  if (stack && stack->interval > 0) text += Attribute("TimeIncrement", stack->interval) + " TimeIncrementUnit=\"s\"";
  const int planes = stack ? static_cast<int>(stack->planes.size()) : 1;
  text += ">\n" + Channels(image, number) + "<TiffData" + Attribute("IFD", image.firstDirectory) +
          Attribute("PlaneCount", planes) + "/>\n";
  if (stack) text += Planes(image);
  return text + "</Pixels>";
}

std::string Image(const SOmeImage& image, std::size_t number) {
  std::string text = "<Image" + Id("Image", number) + Attribute("Name", image.name) + ">\n<AcquisitionDate>" +
                     image.date + "</AcquisitionDate><ExperimenterRef" + Id("Experimenter", 0) + "/><Description>" +
                     Escaped(image.description) + "</Description><ExperimenterGroupRef" + Id("ExperimenterGroup", 0) +
                     "/><InstrumentRef" + Id("Instrument", 0) + "/><ObjectiveSettings" + Id("Objective", 0) + "/>";
  if (!image.stageLabel.empty()) {
    text += "<StageLabel" + Attribute("Name", image.stageLabel) + Attribute("X", image.stageX) + " XUnit=\"µm\"" +
            Attribute("Y", image.stageY) + " YUnit=\"µm\"" + Attribute("Z", image.stageZ) + " ZUnit=\"µm\"/>";
  }
  return text + "\n" + Pixels(image, number) + "\n</Image>\n";
}

}  // namespace

std::string MakeOmeXml(const SOmeDocument& document) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\" "
      "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
      "xsi:schemaLocation=\"http://www.openmicroscopy.org/Schemas/OME/2016-06 "
      "http://www.openmicroscopy.org/Schemas/OME/2016-06/ome.xsd\" Creator=\"qvthumbs-samples\"";
  text += Attribute("UUID", MakeUuid(document.seed)) + ">\n" + Lab(document) + Instrument(document);
  for (std::size_t i = 0; i < document.images.size(); ++i) text += Image(document.images[i], i);
  return text + "</OME>\n";
}
