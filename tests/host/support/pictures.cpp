#include "tests/host/support/pictures.h"

#include "tests/support/decode_rgb.h"
#include "tests/support/encode_png.h"
#include "tests/support/file_bytes.h"
#include "tests/support/tiff_writer.h"

using namespace qvtest;

namespace {

constexpr unsigned kStackWidth = 64, kStackHeight = 48;

std::string OmeXml(const SStackShape& shape) {
  std::string channels;
  for (unsigned c = 0; c < shape.channels; ++c) {
    const std::string number = std::to_string(c);
    channels += "<Channel ID=\"Channel:0:" + number + "\" Name=\"dye " + number + "\" SamplesPerPixel=\"1\"/>";
  }
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>"
         "<OME xmlns=\"http://www.openmicroscopy.org/Schemas/OME/2016-06\">"
         "<Image ID=\"Image:0\" Name=\"stack\"><AcquisitionDate>2024-05-01T12:30:00</AcquisitionDate>"
         "<Pixels ID=\"Pixels:0\" DimensionOrder=\"XYZCT\" Type=\"uint16\" BigEndian=\"false\" SizeX=\"64\" "
         "SizeY=\"48\" SizeZ=\"" +
         std::to_string(shape.planes) + "\" SizeC=\"" + std::to_string(shape.channels) + "\" SizeT=\"" +
         std::to_string(shape.times) +
         "\" PhysicalSizeX=\"0.325\" PhysicalSizeY=\"0.325\" PhysicalSizeZ=\"1.5\" TimeIncrement=\"2\">" + channels +
         "<TiffData/></Pixels></Image></OME>";
}

STiffPage StackPage(unsigned number) {
  return MakePage<std::uint16_t>(kStackWidth, kStackHeight, 1,
                                 [&](unsigned x, unsigned y, unsigned) { return x * 40 + y + number; });
}

SDecodedPicture Describe(const SRgbPicture& picture) {
  const auto at = [&](unsigned x, unsigned y) -> SRgb {
    const std::uint8_t* pixel = picture.Pixel(x, y);
    return {pixel[0], pixel[1], pixel[2]};
  };
  const unsigned width = picture.width, height = picture.height, middle = height / 2;
  return {width, height, at(width / 4, middle), at(width * 3 / 4, middle), at(width / 2, height > 1 ? 1 : 0)};
}

}  // namespace

void WritePng(const std::string& path, unsigned width, unsigned height, const SRgb& color) {
  STestPicture picture = BlackPicture(width, height, 3);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      for (unsigned c = 0; c < 3; ++c) {
        picture.At(x, y, c) = x < width / 2 ? static_cast<std::uint8_t>(color[c] / 2) : color[c];
      }
    }
  }
  WriteFile(path, EncodePng(picture));
}

void WriteStack(const std::string& path, const SStackShape& shape) {
  std::vector<STiffPage> pages;
  for (unsigned i = 0; i < shape.times * shape.planes * shape.channels; ++i) pages.push_back(StackPage(i));
  pages.front().description = OmeXml(shape);
  WriteFile(path, WriteTiff(pages));
}

SDecodedPicture DecodePng(const std::string& path) { return Describe(DecodePng(ReadFile(path))); }

SDecodedPicture DecodeJpeg(const std::string& path) { return Describe(DecodeJpeg(ReadFile(path))); }
