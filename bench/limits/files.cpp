#include "bench/limits/files.h"

#include <png.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include <jpeglib.h>

namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kLargestJpegSide = 65500;

// What a picture shows, row by row: nothing, the lines of a printed page, or noise.
enum class EContent { kBlank, kPage, kNoise };

class CRows {
 public:
  CRows(EContent content, std::size_t bytes) : m_content(content), m_row(bytes, 0xFF) {}

  std::uint8_t* Row(std::uint32_t y) {
    if (m_content == EContent::kNoise) {
      for (std::uint8_t& byte : m_row)
        byte = static_cast<std::uint8_t>((m_state = m_state * 1664525 + 1013904223) >> 24);
    }
    if (m_content == EContent::kPage && y % 64 < 2) {
      const bool isText = y % 64 == 0;
      for (std::size_t i = 0; i < m_row.size(); ++i) m_row[i] = isText && i * 7919 % 13 < 4 ? 0x00 : 0xFF;
    }
    return m_row.data();
  }

 private:
  EContent m_content;
  std::vector<std::uint8_t> m_row;
  std::uint32_t m_state = 1;
};

struct STiffKind {
  std::uint16_t compression = COMPRESSION_NONE;
  std::uint16_t bits = 8, samples = 1;
  std::uint32_t tile = 0;  // 0: one strip
  EContent content = EContent::kBlank;
};

void WriteTiffTiles(TIFF* tiff, const STiffKind& kind, std::uint32_t side) {
  CRows rows(kind.content, std::size_t{kind.tile} * kind.tile * kind.samples * kind.bits / 8);
  for (std::uint32_t y = 0; y < side; y += kind.tile) {
    for (std::uint32_t x = 0; x < side; x += kind.tile) TIFFWriteTile(tiff, rows.Row(0), x, y, 0, 0);
  }
}

void WriteTiff(const fs::path& path, const STiffKind& kind, std::uint32_t side) {
  TIFF* tiff = TIFFOpen(path.c_str(), "w8");
  if (!tiff) throw std::runtime_error("cannot write " + path.string());
  TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, side);
  TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, side);
  TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, kind.bits);
  TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, kind.samples);
  TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, kind.samples == 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
  TIFFSetField(tiff, TIFFTAG_COMPRESSION, kind.compression);
  TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  if (kind.tile != 0) {
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, kind.tile);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, kind.tile);
    WriteTiffTiles(tiff, kind, side);
  } else {
    TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, side);
    CRows rows(kind.content, (std::size_t{side} * kind.samples * kind.bits + 7) / 8);
    for (std::uint32_t y = 0; y < side; ++y) TIFFWriteScanline(tiff, rows.Row(y), y, 0);
  }
  TIFFClose(tiff);
}

struct SFileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using SFilePointer = std::unique_ptr<std::FILE, SFileCloser>;

void WritePng(const fs::path& path, int bits, int color, EContent content, std::uint32_t side) {
  const SFilePointer file(std::fopen(path.c_str(), "wb"));
  if (!file) throw std::runtime_error("cannot write " + path.string());
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file.get());
  png_set_IHDR(png, info, side, side, bits, color, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
               PNG_FILTER_TYPE_DEFAULT);
  png_set_filter(png, 0, PNG_FILTER_NONE);
  png_write_info(png, info);
  CRows rows(content, png_get_rowbytes(png, info));
  for (std::uint32_t y = 0; y < side; ++y) png_write_row(png, rows.Row(y));
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
}

struct SJpegKind {
  int components = 1;
  bool progressive = false, arithmetic = false;
  EContent content = EContent::kBlank;
};

void WriteJpeg(const fs::path& path, const SJpegKind& kind, std::uint32_t side) {
  const SFilePointer file(std::fopen(path.c_str(), "wb"));
  if (!file) throw std::runtime_error("cannot write " + path.string());
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  jpeg_stdio_dest(&info, file.get());
  info.image_width = info.image_height = side;
  info.input_components = kind.components;
  info.in_color_space = kind.components == 1 ? JCS_GRAYSCALE : JCS_RGB;
  jpeg_set_defaults(&info);
  info.arith_code = kind.arithmetic ? TRUE : FALSE;
  if (kind.progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  CRows rows(kind.content, std::size_t{side} * kind.components);
  for (std::uint32_t y = 0; y < side; ++y) {
    JSAMPROW row = rows.Row(y);
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
}

void AddTiffFiles(std::uint32_t side, std::vector<SHonestFile>* files) {
  const auto add = [&](const char* name, STiffKind kind, std::uint32_t size) {
    files->push_back({std::string("TIFF, ") + name, [=](const fs::path& path) { WriteTiff(path, kind, size); }});
  };
  using enum EContent;
  add("Deflate, 8 bits, blank", {COMPRESSION_ADOBE_DEFLATE}, side);
  add("Deflate, RGB, blank", {COMPRESSION_ADOBE_DEFLATE, 8, 3}, side);
  add("Deflate, 16 bits, blank", {COMPRESSION_ADOBE_DEFLATE, 16}, side);
  add("Deflate, 8 bits, page", {COMPRESSION_ADOBE_DEFLATE, 8, 1, 0, kPage}, side);
  add("Deflate, RGB, tiles, blank", {COMPRESSION_ADOBE_DEFLATE, 8, 3, 512}, side);
  add("LZW, 8 bits, blank", {COMPRESSION_LZW}, side);
  add("LZW, RGB, blank", {COMPRESSION_LZW, 8, 3}, side);
  add("LZW, RGB, tiles, blank", {COMPRESSION_LZW, 8, 3, 512}, side);
  add("PackBits, 8 bits, blank", {COMPRESSION_PACKBITS}, side);
  add("ZSTD, RGB, blank", {COMPRESSION_ZSTD, 8, 3}, side);
  add("LZMA, RGB, blank", {COMPRESSION_LZMA, 8, 3}, side);
  add("G4, 1 bit, blank", {COMPRESSION_CCITTFAX4, 1}, 2 * side);
  add("G4, 1 bit, page", {COMPRESSION_CCITTFAX4, 1, 1, 0, kPage}, 2 * side);
  add("Deflate, 8 bits, noise", {COMPRESSION_ADOBE_DEFLATE, 8, 1, 0, kNoise}, side / 4);
  add("LZW, 8 bits, noise", {COMPRESSION_LZW, 8, 1, 0, kNoise}, side / 4);
  add("LZMA, 8 bits, noise", {COMPRESSION_LZMA, 8, 1, 0, kNoise}, side / 4);
}

void AddPngFiles(std::uint32_t side, std::vector<SHonestFile>* files) {
  const auto add = [&](const char* name, int bits, int color, EContent content, std::uint32_t size) {
    files->push_back(
        {std::string("PNG, ") + name, [=](const fs::path& path) { WritePng(path, bits, color, content, size); }});
  };
  add("8 bits, blank", 8, PNG_COLOR_TYPE_GRAY, EContent::kBlank, side);
  add("RGB, blank", 8, PNG_COLOR_TYPE_RGB, EContent::kBlank, side);
  add("16 bits, blank", 16, PNG_COLOR_TYPE_GRAY, EContent::kBlank, side);
  add("RGB, page", 8, PNG_COLOR_TYPE_RGB, EContent::kPage, side);
  add("RGB, noise", 8, PNG_COLOR_TYPE_RGB, EContent::kNoise, side / 4);
}

void AddJpegFiles(std::uint32_t side, std::vector<SHonestFile>* files) {
  const auto add = [&](const char* name, SJpegKind kind, std::uint32_t size) {
    files->push_back({std::string("JPEG, ") + name,
                      [=](const fs::path& path) { WriteJpeg(path, kind, std::min(size, kLargestJpegSide)); }});
  };
  using enum EContent;
  add("grey, blank", {1}, 2 * side);
  add("colour, blank", {3}, 2 * side);
  add("grey, arithmetic, blank", {1, false, true}, 2 * side);
  // Larger ones need more memory than a picture may.
  add("grey, progressive, blank", {1, true}, side / 3);
  add("colour, progressive, blank", {3, true}, side / 4);
  add("grey, progressive arithmetic, blank", {1, true, true}, side / 3);
  add("colour, noise", {3, false, false, kNoise}, side / 4);
  add("colour, progressive, noise", {3, true, false, kNoise}, side / 4);
  add("colour, arithmetic, noise", {3, false, true, kNoise}, side / 4);
  add("colour, progressive arithmetic, noise", {3, true, true, kNoise}, side / 4);
}

}  // namespace

std::vector<SHonestFile> HonestFiles(std::uint32_t side) {
  std::vector<SHonestFile> files;
  AddTiffFiles(side, &files);
  AddPngFiles(side, &files);
  AddJpegFiles(side, &files);
  return files;
}
