#include "tests/host/support/pictures.h"

#include <gtest/gtest.h>
#include <jpeglib.h>
#include <png.h>
#include <tiffio.h>

#include <cstdio>
#include <memory>
#include <vector>

namespace {

struct SFileClose {
  void operator()(FILE* file) const noexcept { std::fclose(file); }
};
struct STiffClose {
  void operator()(TIFF* tiff) const noexcept { TIFFClose(tiff); }
};

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

void WritePage(TIFF* tiff, const char* description, unsigned page) {
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, kStackWidth);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, kStackHeight);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, 16);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, kStackHeight);
  if (description) TIFFSetField(tiff, TIFFTAG_IMAGEDESCRIPTION, description);
  std::vector<std::uint16_t> row(kStackWidth);
  for (unsigned y = 0; y < kStackHeight; ++y) {
    for (unsigned x = 0; x < kStackWidth; ++x) row[x] = static_cast<std::uint16_t>(x * 40 + y + page);
    TIFFWriteScanline(tiff, row.data(), y, 0);
  }
  TIFFWriteDirectory(tiff);
}

SDecodedPicture Describe(unsigned width, unsigned height, const std::vector<std::uint8_t>& rgb) {
  const auto at = [&](unsigned x, unsigned y) -> SRgb {
    const std::size_t offset = (static_cast<std::size_t>(y) * width + x) * 3;
    return {rgb[offset], rgb[offset + 1], rgb[offset + 2]};
  };
  const unsigned middle = height / 2;
  return {width, height, at(width / 4, middle), at(width * 3 / 4, middle), at(width / 2, height > 1 ? 1 : 0)};
}

}  // namespace

void WritePng(const std::string& path, unsigned width, unsigned height, const SRgb& color) {
  std::vector<std::uint8_t> pixels;
  pixels.reserve(static_cast<std::size_t>(width) * height * 3);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      for (const std::uint8_t part : color) pixels.push_back(x < width / 2 ? part / 2 : part);
    }
  }
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = height;
  image.format = PNG_FORMAT_RGB;
  ASSERT_TRUE(png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr)) << image.message;
}

void WriteStack(const std::string& path, const SStackShape& shape) {
  const std::unique_ptr<TIFF, STiffClose> tiff(TIFFOpen(path.c_str(), "w"));
  ASSERT_TRUE(tiff) << path;
  const std::string description = OmeXml(shape);
  for (unsigned page = 0; page < shape.times * shape.planes * shape.channels; ++page) {
    WritePage(tiff.get(), page == 0 ? description.c_str() : nullptr, page);
  }
}

SDecodedPicture DecodePng(const std::string& path) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&image, path.c_str())) {
    ADD_FAILURE() << path << ": " << image.message;
    return {};
  }
  image.format = PNG_FORMAT_RGB;
  std::vector<std::uint8_t> rgb(PNG_IMAGE_SIZE(image));
  if (!png_image_finish_read(&image, nullptr, rgb.data(), 0, nullptr)) ADD_FAILURE() << path << ": " << image.message;
  return Describe(image.width, image.height, rgb);
}

SDecodedPicture DecodeJpeg(const std::string& path) {
  const std::unique_ptr<FILE, SFileClose> file(std::fopen(path.c_str(), "rb"));
  if (!file) {
    ADD_FAILURE() << "cannot open " << path;
    return {};
  }
  jpeg_error_mgr errors;
  jpeg_decompress_struct jpeg;
  jpeg.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&jpeg);
  jpeg_stdio_src(&jpeg, file.get());
  jpeg_read_header(&jpeg, TRUE);
  jpeg.out_color_space = JCS_RGB;
  jpeg_start_decompress(&jpeg);
  const std::size_t rowSize = static_cast<std::size_t>(jpeg.output_width) * 3;
  std::vector<std::uint8_t> rgb(rowSize * jpeg.output_height);
  while (jpeg.output_scanline < jpeg.output_height) {
    JSAMPROW row = rgb.data() + rowSize * jpeg.output_scanline;
    jpeg_read_scanlines(&jpeg, &row, 1);
  }
  const SDecodedPicture decoded = Describe(jpeg.output_width, jpeg.output_height, rgb);
  jpeg_finish_decompress(&jpeg);
  jpeg_destroy_decompress(&jpeg);
  return decoded;
}
