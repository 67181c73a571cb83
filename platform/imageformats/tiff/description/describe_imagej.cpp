#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"
#include "platform/imageformats/tiff/description/describe.h"

namespace imageformats::tiff {
namespace {

// The longest Info property that is kept: acquisition programs dump all their settings there.
constexpr std::size_t kMaxInfoLength = 4096;

float ResolutionTag(CTiffHandle& tiff, std::uint32_t tag) {
  float value = 0.0f;
  return TIFFGetField(tiff.Get(), tag, &value) && value > 0.0f ? value : 0.0f;
}

// ImageJ stores pixels per unit in the resolution tags.
void Calibrate(CFileSet& files, const SImageJ& imageJ, SImageMetadata* metadata) {
  const double unit = MicrometresPer(imageJ.unit).value_or(0.0);
  if (unit == 0.0) return;
  STiffFile& file = files.Main();
  file.handle.Select(file.chain.front().offset);
  const auto x = static_cast<double>(ResolutionTag(file.handle, TIFFTAG_XRESOLUTION));
  const auto y = static_cast<double>(ResolutionTag(file.handle, TIFFTAG_YRESOLUTION));
  if (x > 0.0) metadata->calibration = PlausibleLength(unit / x);
  if (metadata->calibration > 0.0 && y > 0.0) metadata->aspect = x / y;
  metadata->picture.zStep = PlausibleLength(imageJ.spacing * unit);
}

}  // namespace

void DescribeImageJ(CFileSet& files, const SDataset& dataset, SImageMetadata* metadata) {
  const SImageJ& imageJ = *dataset.imageJ;
  SQvImageTextInfo& text = metadata->text;
  Calibrate(files, imageJ, metadata);
  if (dataset.kind == SDataset::EKind::kImageJ) {
    AddLoop(kQvLoopTime, dataset.sizeT, imageJ.frameInterval, metadata);
    AddLoop(kQvLoopZ, dataset.sizeZ, metadata->picture.zStep, metadata);
    AddChannelLoop(metadata);
  }
  if (!imageJ.labels.empty()) SetIfEmpty(text.imageID, TextOf(imageJ.labels.front().substr(0, 256)));
  SetIfEmpty(text.info1, TextOf(std::string_view(imageJ.info).substr(0, kMaxInfoLength)));
  SetIfEmpty(text.info2, TextOf("ImageJ " + imageJ.version));
  SetIfEmpty(text.sampling, TextOf(SamplingText(metadata->calibration, metadata->calibration * metadata->aspect,
                                                metadata->picture.zStep, imageJ.frameInterval)));
}

}  // namespace imageformats::tiff
