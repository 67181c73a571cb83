#include "tests/support/decode_rgb.h"

#include <cstdio>
#include <stdexcept>

#include <jpeglib.h>
#include <png.h>

namespace qvtest {

SRgbPicture DecodeJpeg(std::span<const std::uint8_t> bytes) {
  jpeg_decompress_struct decoder;
  jpeg_error_mgr errors;
  decoder.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&decoder);
  jpeg_mem_src(&decoder, bytes.data(), bytes.size());
  jpeg_read_header(&decoder, TRUE);
  decoder.out_color_space = JCS_RGB;
  jpeg_start_decompress(&decoder);
  SRgbPicture picture{decoder.output_width, decoder.output_height, {}};
  const std::size_t rowBytes = std::size_t{picture.width} * 3;
  picture.pixels.resize(rowBytes * picture.height);
  while (decoder.output_scanline < decoder.output_height) {
    JSAMPROW row = picture.pixels.data() + rowBytes * decoder.output_scanline;
    jpeg_read_scanlines(&decoder, &row, 1);
  }
  jpeg_finish_decompress(&decoder);
  jpeg_destroy_decompress(&decoder);
  return picture;
}

SRgbPicture DecodePng(std::span<const std::uint8_t> bytes) {
  png_image image = {};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()) == 0) {
    throw std::runtime_error(image.message);
  }
  image.format = PNG_FORMAT_RGB;
  SRgbPicture picture{image.width, image.height, std::vector<std::uint8_t>(PNG_IMAGE_SIZE(image))};
  if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0) {
    throw std::runtime_error(image.message);
  }
  return picture;
}

}  // namespace qvtest
