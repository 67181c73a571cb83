#include <stdio.h>
// libjpeg's header needs stdio's first.
#include <jpeglib.h>

#include <cstdlib>

#include "bench/service/support/cache.h"

namespace qvbench {

std::vector<unsigned char> MakeJpeg(unsigned width, unsigned height) {
  jpeg_compress_struct encoder;
  jpeg_error_mgr errors;
  encoder.err = jpeg_std_error(&errors);
  jpeg_create_compress(&encoder);
  unsigned char* bytes = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&encoder, &bytes, &size);
  encoder.image_width = width;
  encoder.image_height = height;
  encoder.input_components = 3;
  encoder.in_color_space = JCS_RGB;
  jpeg_set_defaults(&encoder);
  jpeg_set_quality(&encoder, 80, TRUE);
  jpeg_start_compress(&encoder, TRUE);
  std::vector<unsigned char> row(std::size_t{width} * 3);
  for (unsigned y = 0; y < height; ++y) {
    for (unsigned x = 0; x < width; ++x) {
      const unsigned blob = ((x / 9) * 37 + (y / 7) * 91) % 160;
      row[x * 3] = static_cast<unsigned char>(blob + (x * 5 + y * 3) % 32);
      row[x * 3 + 1] = static_cast<unsigned char>((x + y) % 200);
      row[x * 3 + 2] = static_cast<unsigned char>(255 - blob);
    }
    JSAMPROW pointer = row.data();
    jpeg_write_scanlines(&encoder, &pointer, 1);
  }
  jpeg_finish_compress(&encoder);
  jpeg_destroy_compress(&encoder);
  std::vector<unsigned char> stream(bytes, bytes + size);
  std::free(bytes);
  return stream;
}

std::size_t DecodeJpeg(const std::vector<unsigned char>& stream, std::vector<unsigned char>* pixels) {
  jpeg_decompress_struct decoder;
  jpeg_error_mgr errors;
  decoder.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&decoder);
  jpeg_mem_src(&decoder, stream.data(), stream.size());
  jpeg_read_header(&decoder, TRUE);
  decoder.out_color_space = JCS_RGB;
  jpeg_start_decompress(&decoder);
  const std::size_t rowBytes = std::size_t{decoder.output_width} * 3;
  pixels->resize(rowBytes * decoder.output_height);
  while (decoder.output_scanline < decoder.output_height) {
    JSAMPROW row = pixels->data() + rowBytes * decoder.output_scanline;
    jpeg_read_scanlines(&decoder, &row, 1);
  }
  jpeg_finish_decompress(&decoder);
  jpeg_destroy_decompress(&decoder);
  return pixels->size();
}

}  // namespace qvbench
