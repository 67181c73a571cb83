#include <tiff.h>

#include <algorithm>

#include "tools/samples/fluorescence.h"
#include "tools/samples/jpeg_encoder.h"
#include "tools/samples/odd_files.h"
#include "tools/samples/tiff_writer.h"

namespace {

constexpr SColor kAmber{1.0f, 0.72f, 0.10f};

enum class EEmbedded { kJpeg, kPixels, kBoth, kGreyJpeg, kWrongSize };

// The raw pixels are those of a picture of the file's own size; all others are ignored by readers.
void WriteWithThumbnail(const SContext& context, const std::string& name, const SRgbImage& picture, EEmbedded what) {
  // Never as large as the picture itself.
  SRgbImage framed = picture, small = FitInto(picture, std::min(480, picture.width * 3 / 4), 360);
  DrawFrame(&framed, std::max(3, picture.height / 60), kAmber);
  DrawFrame(&small, std::max(3, small.height / 60), kAmber);
  STiffPage page = PageOf(picture);
  page.compression = COMPRESSION_LZW;
  page.predictor = 2;
  page.dateTime = SMoment(300).Tiff();
  if (what == EEmbedded::kJpeg || what == EEmbedded::kBoth) page.thumbnailJpeg = EncodeJpeg(small);
  if (what == EEmbedded::kPixels || what == EEmbedded::kBoth) page.thumbnailPixels = AlignedRgbRows(framed);
  if (what == EEmbedded::kWrongSize) page.thumbnailPixels = AlignedRgbRows(small);
  if (what == EEmbedded::kGreyJpeg) {
    CBytes grey;
    for (std::size_t i = 1; i < small.pixels.size(); i += 3) grey.push_back(small.pixels[i]);
    page.thumbnailJpeg = EncodeGreyJpeg(grey, small.width, small.height);
  }
  CTiffWriter file(context.output.Add(name));
  file.Write(page);
  file.Close();
}

}  // namespace

void MakeEmbeddedThumbnails(const SContext& context) {
  const std::string folder = "Embedded thumbnails/";
  SFieldOptions options;
  options.width = context.Side(638);  // rows of raw pixels need filling up to 4 bytes
  options.height = context.Side(480);
  const SRgbImage picture = Composite(MakeField(EFluorescence::kCells, options, context.SeedFor(folder)));
  WriteWithThumbnail(context, folder + "jpeg.tif", picture, EEmbedded::kJpeg);
  WriteWithThumbnail(context, folder + "raw pixels.tif", picture, EEmbedded::kPixels);
  WriteWithThumbnail(context, folder + "both.tif", picture, EEmbedded::kBoth);
  WriteWithThumbnail(context, folder + "grey jpeg (not usable).tif", picture, EEmbedded::kGreyJpeg);
  WriteWithThumbnail(context, folder + "raw pixels of another size (not usable).tif", picture, EEmbedded::kWrongSize);
}
