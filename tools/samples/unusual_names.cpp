#include "tools/samples/electron.h"
#include "tools/samples/jpeg_encoder.h"
#include "tools/samples/odd_files.h"
#include "tools/samples/photographs.h"
#include "tools/samples/png_encoder.h"
#include "tools/samples/tiff_writer.h"

namespace {

void WriteGreyTiff(const SContext& context, const std::string& name) {
  const int width = context.Side(512), height = context.Side(384);
  const CBytes bytes = ToBytes(RenderPollen(width, height, context.SeedFor(name)));
  STiffPage page;
  page.width = width;
  page.height = height;
  page.pixels = bytes.data();
  CTiffWriter file(context.output.Add(name));
  file.Write(page);
  file.Close();
}

SRgbImage SmallPhotograph(const SContext& context, const std::string& name) {
  return RenderMountains(context.Side(600), context.Side(400), context.SeedFor(name));
}

void WriteJpeg(const SContext& context, const std::string& name) {
  context.output.Write(name, EncodeJpeg(SmallPhotograph(context, name)));
}

void WritePng(const SContext& context, const std::string& name) {
  const SRgbImage picture = SmallPhotograph(context, name);
  SPngImage png;
  png.width = picture.width;
  png.height = picture.height;
  png.samples = picture.pixels;
  context.output.Write(name, EncodePng(png));
}

}  // namespace

void MakeUnusualNames(const SContext& context) {
  WriteGreyTiff(context, "ARCHIVE 1999/DISK_A/FIELD_01.TIF");
  WriteJpeg(context, "ARCHIVE 1999/DISK_A/GROUP.JPG");
  WritePng(context, "ARCHIVE 1999/DISK_B/FIGURE_2.PNG");
  WriteGreyTiff(context, "Names/Größe 10 µm – Überblick.tif");
  WriteJpeg(context, "Names/顕微鏡/遠足の写真.jpg");
  WritePng(context, "Names/Ελληνικά/ΣΊΣΥΦΟΣ.png");
  WriteJpeg(context, "Names/Пыльца/🔬 гора.jpg");
  WriteGreyTiff(context, "Names/cafe\xCC\x81 (combining accent).tif");
  WriteJpeg(context, "Names/100% #1 [a] 'quoted' & more?.jpg");
  WriteGreyTiff(context, "Names/caf\xE9 (Latin-1).tif");
}
