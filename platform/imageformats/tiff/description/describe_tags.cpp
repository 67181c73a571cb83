#include <algorithm>
#include <cmath>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/exif.h"
#include "platform/imageformats/tiff/description/describe.h"
#include "platform/imageformats/tiff/directory/exif_block.h"
#include "platform/imageformats/tiff/directory/tags.h"

namespace imageformats::tiff {
namespace {

// Descriptions that programs write for themselves.
bool IsForMachines(const std::string& text) {
  return text.empty() || text[0] == '<' || text[0] == '{' || text.starts_with("ImageJ=");
}

// Resolution tags mostly say how large to print. Only sizes that no printer or scanner has, but a microscope does, are
// taken for a calibration.
constexpr double kLargestPixel = 2.0;    // micrometres; scanners end at about 5 (4800 per inch)
constexpr double kSmallestPixel = 1e-5;  // micrometres; a tenth of an atom

double PixelSize(TIFF* tiff, std::uint32_t tag) {
  float resolution = 0.0f;
  std::uint16_t unit = RESUNIT_INCH;
  TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
  if (!TIFFGetField(tiff, tag, &resolution) || !(resolution > 0.0f) || unit == RESUNIT_NONE) return 0.0;
  const double size = (unit == RESUNIT_CENTIMETER ? 1e4 : 25400.0) / static_cast<double>(resolution);
  return size <= kLargestPixel && size >= kSmallestPixel ? size : 0.0;
}

void Calibrate(TIFF* tiff, SImageMetadata* metadata) {
  const double x = PixelSize(tiff, TIFFTAG_XRESOLUTION), y = PixelSize(tiff, TIFFTAG_YRESOLUTION);
  if (x <= 0.0) return;
  metadata->calibration = x;
  if (y > 0.0) metadata->aspect = y / x;
}

void ApplyDate(const std::string& date, SImageMetadata* metadata) {
  CQvStringW text;
  double julianDay = 0.0;
  if (!ParseExifDate(date.c_str(), std::nullopt, &text, &julianDay))
    return SetIfEmpty(metadata->text.date, TextOf(date));
  SetIfEmpty(metadata->text.date, text);
  if (metadata->acquisitionTime == 0.0) metadata->acquisitionTime = julianDay;
}

// Most plain stacks do not say what runs from page to page.
void AddPageLoop(const SDataset& dataset, SImageMetadata* metadata) {
  if (dataset.kind != SDataset::EKind::kPlain) return;
  if (dataset.hasPageAxes) {
    AddLoop(kQvLoopTime, dataset.sizeT, 0.0, metadata);
    AddLoop(kQvLoopZ, dataset.sizeZ, 0.0, metadata);
    return AddChannelLoop(metadata);
  }
  AddLoop(kQvLoopCustom, static_cast<std::uint32_t>(dataset.pages.size()), 0.0, metadata);
  AddChannelLoop(metadata);
}

}  // namespace

void DescribeTags(CFileSet& files, const SDataset& dataset, SImageMetadata* metadata) {
  STiffFile& file = files.Main();
  file.handle.Select(dataset.kind == SDataset::EKind::kPlain ? dataset.page.offset : file.chain.front().offset);
  const auto tag = [&](std::uint32_t number) { return TextOf(TextTag(file.handle, number)); };
  SQvImageTextInfo& text = metadata->text;
  const std::string description = TextTag(file.handle, TIFFTAG_IMAGEDESCRIPTION);
  if (!IsForMachines(description)) SetIfEmpty(text.description, TextOf(description));
  SetIfEmpty(text.imageID, tag(TIFFTAG_DOCUMENTNAME));
  SetIfEmpty(text.author, tag(TIFFTAG_ARTIST));
  SetIfEmpty(text.capturing, Joined(tag(TIFFTAG_MAKE), L" ", tag(TIFFTAG_MODEL)));
  SetIfEmpty(text.location, tag(TIFFTAG_HOSTCOMPUTER));
  SetIfEmpty(text.info2, tag(TIFFTAG_SOFTWARE));
  // The time of the shot is EXIF's; TIFF's own may be that of a later change.
  ApplyExif(ExifBlockOf(file.handle), *metadata);
  const std::string date = TextTag(file.handle, TIFFTAG_DATETIME);
  if (!date.empty() && metadata->acquisitionTime == 0.0) ApplyDate(date, metadata);
  // OME-TIFF and ImageJ say it elsewhere; their writers fill these tags with anything.
  const bool plain = dataset.kind == SDataset::EKind::kPlain && !dataset.imageJ;
  if (plain) Calibrate(file.handle.Get(), metadata);
  AddPageLoop(dataset, metadata);
}

}  // namespace imageformats::tiff
