#include "tools/samples/other_pictures.h"

#include <tiff.h>

#include "tools/samples/electron.h"
#include "tools/samples/exif_block.h"
#include "tools/samples/fluorescence.h"
#include "tools/samples/jpeg_encoder.h"
#include "tools/samples/photographs.h"
#include "tools/samples/plots.h"
#include "tools/samples/tiff_writer.h"

void MakeElectronPicture(const SContext& context, int number) {
  const bool section = number % 2 == 0;
  const std::string name = (section ? "Electron microscopy/thin section " : "Electron microscopy/pollen ") +
                           ZeroPadded(number + 1, 3) + ".tif";
  const int width = context.Side(1024), height = context.Side(section ? 1024 : 768);
  const SPlane picture = section ? RenderThinSection(width, height, context.SeedFor(name))
                                 : RenderPollen(width, height, context.SeedFor(name));
  const CBytes bytes = ToBytes(picture);
  std::vector<std::uint16_t> words;
  for (const float value : picture.values) words.push_back(static_cast<std::uint16_t>(2000 + 50000 * value));
  // Every other pair has 16 bits, as newer cameras write.
  const bool wide = number % 4 >= 2;
  STiffPage page = PageOf(words, width, height);
  if (!wide) {
    page.bits = 8;
    page.pixels = bytes.data();
  }
  page.description = section ? "Thin section, uranyl acetate, 80 kV" : "Pollen, gold sputtered, 5 kV, SE";
  page.dateTime = SMoment(100 + number).Tiff();
  page.pixelsPerCentimetre = section ? 2e6 : 1e5;
  CTiffWriter file(context.output.Add(name));
  file.Write(page);
  file.Close();
}

void MakePhotograph(const SContext& context, int number) {
  static const char* const kNames[] = {"agar plate ", "well plate ", "group hike "};
  const int motif = number % 3;
  const std::string name = std::string("Photographs/") + kNames[motif] + ZeroPadded(number + 1, 3) + ".jpg";
  const int width = context.Side(1200), height = context.Side(800);
  const std::uint64_t seed = context.SeedFor(name);
  SRgbImage picture = motif == 0   ? RenderAgarPlate(width, height, seed)
                      : motif == 1 ? RenderWellPlate(width, height, seed)
                                   : RenderMountains(width, height, seed);
  SExif exif;
  exif.make = "Lab camera works";
  exif.model = "Model 3";
  exif.artist = "Rosa Lindqvist";
  exif.dateTime = SMoment(150 + number).Tiff();
  exif.isoSpeed = 200;
  exif.exposureSeconds = 1.0 / 125;
  exif.aperture = 5.6;
  exif.focalLength = 35;
  SJpegOptions small;
  small.quality = 75;
  exif.thumbnail = EncodeJpeg(FitInto(picture, 160, 120), small);
  // Every fourth was taken with the camera upright: shown turned to the right, it stands as the others do.
  if (number % 4 == 1) {
    exif.orientation = 6;
    picture = TurnLeft(picture);
  }
  SJpegOptions options;
  options.progressive = number % 4 == 2;
  options.app1 = MakeExif(exif);
  context.output.Write(name, EncodeJpeg(picture, options));
}

void MakePlot(const SContext& context, int number) {
  static const char* const kNames[] = {"recovery curves ", "correlation ", "nuclei ", "surface "};
  const std::string name = std::string("Plots/") + kNames[number % 4] + ZeroPadded(number + 1, 3) + ".png";
  const int width = context.Side(900), height = context.Side(600);
  const std::uint64_t seed = context.SeedFor(name);
  switch (number % 4) {
    case 0:
      return context.output.Write(name, EncodePng(DrawCurves(width, height, seed)));
    case 1:
      return context.output.Write(name, EncodePng(DrawHeatMap(height, height, seed)));
    case 2:
      return context.output.Write(name, EncodePng(DrawScatter(width, height, seed)));
    default:
      return context.output.Write(name, EncodePng(DrawHeightMap(width, height, seed)));
  }
}

void MakeCameraFrame(const SContext& context, int number) {
  struct SVariant {
    const char* name;
    int compression, predictor;
    ETiffKind kind;
  };
  static constexpr SVariant kVariants[] = {
      {"uncompressed", COMPRESSION_NONE, 0, ETiffKind::kLittleEndian},
      {"LZW", COMPRESSION_LZW, 2, ETiffKind::kLittleEndian},
      {"Deflate", COMPRESSION_ADOBE_DEFLATE, 2, ETiffKind::kBigEndian},
      {"PackBits", COMPRESSION_PACKBITS, 0, ETiffKind::kBigEndian},
      {"ZSTD", COMPRESSION_ZSTD, 2, ETiffKind::kBigTiff},
  };
  const SVariant& variant = kVariants[number % 5];
  const std::string name = std::string("Camera/") + variant.name + " frame " + ZeroPadded(number + 1, 3) + ".tif";
  SFieldOptions options;
  options.width = context.Side(640);
  options.height = context.Side(480);
  options.channels = 1;
  options.pixelSize = number % 2 == 0 ? 0.325 : 0.1625;
  const SStack stack =
      MakeField(number % 2 == 0 ? EFluorescence::kNeurons : EFluorescence::kCells, options, context.SeedFor(name));
  STiffPage page = PageOf(stack.planes.front(), stack.width, stack.height);
  page.compression = variant.compression;
  page.predictor = variant.predictor;
  page.make = "sCMOS";
  page.model = "2048";
  page.dateTime = SMoment(250 + number).Tiff();
  page.pixelsPerCentimetre = 1e4 / options.pixelSize;
  CTiffWriter file(context.output.Add(name), variant.kind);
  file.Write(page);
  file.Close();
}
