#include <iterator>
#include <stdexcept>

#include "tools/samples/electron.h"
#include "tools/samples/jpeg_encoder.h"
#include "tools/samples/odd_files.h"
#include "tools/samples/photographs.h"
#include "tools/samples/png_encoder.h"
#include "tools/samples/tiff_writer.h"

namespace {

const std::string kFolder = "damaged/";

CBytes Part(const CBytes& bytes, double fraction) {
  return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(fraction * static_cast<double>(bytes.size()))};
}

// A little-endian TIFF file of one directory behind its pixels, as the writer makes it.
CBytes SmallTiff(const SContext& context, const std::string& name) {
  const int width = context.Side(400), height = context.Side(300);
  const CBytes pixels = ToBytes(RenderThinSection(width, height, context.SeedFor(name)));
  STiffPage page;
  page.width = width;
  page.height = height;
  page.pixels = pixels.data();
  CTiffWriter file(context.output.Add(name));
  file.Write(page);
  file.Close();
  return context.output.Read(name);
}

std::size_t Load(const CBytes& bytes, std::size_t at, int size) {
  std::size_t value = 0;
  for (int i = size - 1; i >= 0; --i) value = value << 8 | bytes.at(at + static_cast<std::size_t>(i));
  return value;
}

// Makes the directory its own successor.
CBytes LoopDirectory(CBytes tiff) {
  const std::size_t directory = Load(tiff, 4, 4);
  const std::size_t next = directory + 2 + 12 * Load(tiff, directory, 2);
  for (std::size_t i = 0; i < 4; ++i) tiff.at(next + i) = tiff[4 + i];
  return tiff;
}

// Claims a picture of 4,000,000,000 rows.
CBytes ClaimManyRows(CBytes tiff) {
  const std::size_t directory = Load(tiff, 4, 4);
  for (std::size_t i = 0; i < Load(tiff, directory, 2); ++i) {
    const std::size_t entry = directory + 2 + 12 * i;
    if (Load(tiff, entry, 2) != 257) continue;
    tiff[entry + 2] = 4;  // LONG
    const std::uint8_t rows[] = {0x00, 0x28, 0x6B, 0xEE};
    std::copy(std::begin(rows), std::end(rows), tiff.begin() + static_cast<std::ptrdiff_t>(entry + 8));
    return tiff;
  }
  throw std::runtime_error("a TIFF file without a height");
}

void AppendNumber(CBytes* bytes, std::size_t value, int size) {
  for (int i = 0; i < size; ++i) bytes->push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

// What an instrument leaves while it writes: the directory stands at the beginning, the lower part of the grey picture
// is not there yet. (The library writes directories last, so that this one is put together here.)
CBytes HalfWrittenTiff(const CBytes& pixels, std::size_t width, std::size_t height) {
  const std::size_t tags[][2] = {{256, width},  {257, height},       {258, 8}, {259, 1}, {262, 1}, {273, 0}, {277, 1},
                                 {278, height}, {279, pixels.size()}};
  const std::size_t pixelsAt = 8 + 2 + 12 * std::size(tags) + 4;
  CBytes tiff = {'I', 'I', 42, 0, 8, 0, 0, 0};
  AppendNumber(&tiff, std::size(tags), 2);
  for (const auto& [tag, value] : tags) {
    AppendNumber(&tiff, tag, 2);
    AppendNumber(&tiff, 4, 2);  // LONG
    AppendNumber(&tiff, 1, 4);
    AppendNumber(&tiff, tag == 273 ? pixelsAt : value, 4);
  }
  AppendNumber(&tiff, 0, 4);
  const CBytes there = Part(pixels, 0.55);
  tiff.insert(tiff.end(), there.begin(), there.end());
  return tiff;
}

CBytes BreakChecksum(CBytes png) {
  // The last four bytes before the end chunk (12 bytes) are the checksum of the picture data.
  png.at(png.size() - 13) ^= 0x5A;
  return png;
}

}  // namespace

void MakeDamagedFiles(const SContext& context) {
  const COutput& made = context.output;
  const CBytes tiff = SmallTiff(context, kFolder + "directory loop.tif");
  // The sound file that the writer made gives way to the damaged one.
  const auto replace = [&](const std::string& name, const CBytes& bytes) {
    context.output.Replace(kFolder + name, bytes);
  };
  replace("directory loop.tif", LoopDirectory(tiff));
  context.output.Write(kFolder + "too many rows.tif", ClaimManyRows(tiff));
  context.output.Write(kFolder + "cut off.tif", Part(tiff, 0.6));
  const SPlane pollen = RenderPollen(context.Side(400), context.Side(300), context.SeedFor(kFolder + "pollen"));
  context.output.Write(kFolder + "still being written.tif",
                       HalfWrittenTiff(ToBytes(pollen), static_cast<std::size_t>(pollen.width),
                                       static_cast<std::size_t>(pollen.height)));
  context.output.Write(kFolder + "stack cut off.ome.tif",
                       Part(made.Read("Live imaging/mitosis time series.ome.tif"), 0.7));
  context.output.Write(kFolder + "empty.tif", CBytes());
  context.output.Write(kFolder + "notes.tif",
                       std::string("Slide 4: refocus before the next run. The lamp flickers.\n"));
  const SRgbImage picture = RenderAgarPlate(context.Side(600), context.Side(400), context.SeedFor(kFolder));
  SPngImage png;
  png.width = picture.width;
  png.height = picture.height;
  png.samples = picture.pixels;
  const CBytes encoded = EncodePng(png);
  context.output.Write(kFolder + "wrong checksum.png", BreakChecksum(encoded));
  context.output.Write(kFolder + "cut off.png", Part(encoded, 0.5));
  context.output.Write(kFolder + "cut off.jpg", Part(EncodeJpeg(picture), 0.5));
}
