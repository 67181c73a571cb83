#include "bench/corpus/classes.h"

#include <algorithm>

#include <tiff.h>

#include "bench/corpus/content.h"
#include "tests/support/file_bytes.h"
#include "tools/samples/jpeg_encoder.h"
#include "tools/samples/ome_xml.h"
#include "tools/samples/png_encoder.h"
#include "tools/samples/tiff_writer.h"

namespace {

constexpr int kTile = 256;
// Most writers choose it for LZW and deflate; without it neither gains much on a photograph.
constexpr int kHorizontalPredictor = 2;

int Scaled(int side, int scalePercent) { return std::max(1, side * scalePercent / 100); }

void SavePage(const std::filesystem::path& path, const STiffPage& page) {
  CTiffWriter file(path);
  file.Write(page);
  file.Close();
}

template <bool progressive>
void MakeJpeg(const std::filesystem::path& path, int number, int scale) {
  SJpegOptions options;
  options.progressive = progressive;
  qvtest::WriteFile(path, EncodeJpeg(MakePhotograph(Scaled(4000, scale), Scaled(3000, scale), number), options));
}

template <bool progressive>
void MakeTinyJpeg(const std::filesystem::path& path) {
  SJpegOptions options;
  options.progressive = progressive;
  qvtest::WriteFile(path, EncodeJpeg(SRgbImage(1, 1), options));
}

CBytes PngOf(SRgbImage image) {
  SPngImage png;
  png.width = image.width;
  png.height = image.height;
  png.samples = std::move(image.pixels);
  return EncodePng(png);
}

void MakePng(const std::filesystem::path& path, int number, int scale) {
  qvtest::WriteFile(path, PngOf(MakePhotograph(Scaled(2000, scale), Scaled(2000, scale), number)));
}

void MakeTinyPng(const std::filesystem::path& path) { qvtest::WriteFile(path, PngOf(SRgbImage(1, 1))); }

void MakeGrey16(const std::filesystem::path& path, int number, int scale) {
  const int side = Scaled(2048, scale);
  const std::vector<std::uint16_t> counts = MakeCells(side, number);
  SavePage(path, PageOf(counts, side, side));
}

void MakeTinyGrey16(const std::filesystem::path& path) { SavePage(path, PageOf(std::vector<std::uint16_t>{1}, 1, 1)); }

template <int compression, int rowsPerStrip>
void MakeStrips(const std::filesystem::path& path, int number, int scale) {
  const SRgbImage image = MakePhotograph(Scaled(4000, scale), Scaled(3000, scale), number);
  STiffPage page = PageOf(image);
  page.compression = compression;
  page.predictor = kHorizontalPredictor;
  page.rowsPerStrip = rowsPerStrip;
  SavePage(path, page);
}

template <int compression>
void MakeTinyRgb(const std::filesystem::path& path) {
  const SRgbImage image(1, 1);
  STiffPage page = PageOf(image);
  page.compression = compression;
  SavePage(path, page);
}

STiffPage TiledPage(const SRgbImage& image, int compression) {
  STiffPage page = PageOf(image);
  page.compression = compression;
  page.tileSize = kTile;
  if (compression == COMPRESSION_LZW) page.predictor = kHorizontalPredictor;
  return page;
}

template <int compression>
void MakeTiled(const std::filesystem::path& path, int, int scale) {
  const SRgbImage image = MakeSlide(Scaled(10000, scale));
  SavePage(path, TiledPage(image, compression));
}

// Halves of halves, down to one tile. Directories of a chain are marked as reduced; sub-directories hang on the first.
template <bool nested>
void MakePyramid(const std::filesystem::path& path, int, int scale) {
  SRgbImage level = MakeSlide(Scaled(20000, scale));
  int reduced = 0;
  for (int side = level.width; side > kTile; side = (side + 1) / 2) ++reduced;
  CTiffWriter file(path, ETiffKind::kBigTiff);
  for (int i = 0; i <= reduced; ++i) {
    STiffPage page = TiledPage(level, COMPRESSION_JPEG);
    page.reduced = i > 0;
    file.Write(page, nested && i == 0 ? reduced : 0);
    level = Halve(level);
  }
  file.Close();
}

void WriteStack(const std::filesystem::path& path, const SStack& stack) {
  SOmeDocument document;
  document.seed = 1;
  document.objective.magnification = 20;
  document.images.emplace_back().name = "Five channels";
  document.images.front().stack = &stack;
  CTiffWriter file(path);
  std::string description = MakeOmeXml(document);
  for (const auto& plane : stack.planes) {
    STiffPage page = PageOf(plane, stack.width, stack.height);
    page.description.swap(description);  // only the first directory carries it
    file.Write(page);
  }
  file.Close();
}

void MakeOme(const std::filesystem::path& path, int, int scale) {
  WriteStack(path, MakeFiveChannels(Scaled(2048, scale), 21));
}

void MakeTinyOme(const std::filesystem::path& path) {
  SStack stack;
  stack.width = stack.height = 1;
  stack.channels.resize(1);
  stack.planes = {{1}};
  WriteStack(path, stack);
}

}  // namespace

const std::vector<SCorpusClass>& CorpusClasses() {
  static const std::vector<SCorpusClass> kClasses = {
      {"jpeg-baseline", "jpg", 12, 2, MakeJpeg<false>, MakeTinyJpeg<false>},
      {"jpeg-progressive", "jpg", 6, 2, MakeJpeg<true>, MakeTinyJpeg<true>},
      {"png", "png", 12, 2, MakePng, MakeTinyPng},
      {"grey16", "tif", 40, 2, MakeGrey16, MakeTinyGrey16},
      {"lzw-1-row", "tif", 6, 2, MakeStrips<COMPRESSION_LZW, 1>, MakeTinyRgb<COMPRESSION_LZW>},
      {"lzw-16-rows", "tif", 6, 2, MakeStrips<COMPRESSION_LZW, 16>, MakeTinyRgb<COMPRESSION_LZW>},
      {"deflate-1-row", "tif", 6, 2, MakeStrips<COMPRESSION_ADOBE_DEFLATE, 1>, MakeTinyRgb<COMPRESSION_ADOBE_DEFLATE>},
      {"deflate-16-rows", "tif", 6, 2, MakeStrips<COMPRESSION_ADOBE_DEFLATE, 16>,
       MakeTinyRgb<COMPRESSION_ADOBE_DEFLATE>},
      {"pyramid-chain", "tif", 40, 1, MakePyramid<false>, MakeTinyRgb<COMPRESSION_JPEG>},
      {"pyramid-nested", "tif", 40, 1, MakePyramid<true>, MakeTinyRgb<COMPRESSION_JPEG>},
      {"tiled-jpeg", "tif", 4, 1, MakeTiled<COMPRESSION_JPEG>, MakeTinyRgb<COMPRESSION_JPEG>},
      {"tiled-lzw", "tif", 2, 1, MakeTiled<COMPRESSION_LZW>, MakeTinyRgb<COMPRESSION_LZW>},
      {"ome-five-channels", "ome.tif", 16, 1, MakeOme, MakeTinyOme},
  };
  return kClasses;
}
