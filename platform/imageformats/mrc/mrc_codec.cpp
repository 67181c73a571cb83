#include "platform/imageformats/mrc/mrc_codec.h"

#include <utility>

#include "platform/imageformats/arrays/array_codec.h"
#include "platform/imageformats/arrays/byte_stream.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/mrc/mrc_header.h"

namespace imageformats {

namespace {

using EKind = SStoredSamples::EKind;

SArrayLayout MrcLayout(const SMrcHeader& header) {
  SArrayLayout layout;
  const bool big = header.bigEndian;
  switch (header.mode) {
    case kMrcBytes:
      layout.samples = {header.isSigned ? EKind::kSigned : EKind::kUnsigned, 1, big};
      break;
    case kMrcInt16:
      layout.samples = {EKind::kSigned, 2, big};
      break;
    case kMrcUnsigned16:
      layout.samples = {EKind::kUnsigned, 2, big};
      break;
    case kMrcFloat:
      layout.samples = {EKind::kFloat, 4, big};
      break;
    case kMrcHalf:
      layout.samples = {EKind::kFloat, 2, big};
      break;
    default:
      layout.samples = {EKind::kUnsigned, 1, big};
  }
  layout.isNibbles = header.mode == kMrcNibbles;
  layout.components = header.mode == kMrcRgb ? 3 : 1;
  layout.size = {static_cast<std::uint32_t>(header.columns), static_cast<std::uint32_t>(header.rows)};
  layout.component = layout.samples.bytes;
  layout.x = layout.component * layout.components;
  layout.y = header.RowBytes();
  layout.z = layout.y * layout.size.height;
  return layout;
}

std::string MrcUnsupported(std::int32_t mode) {
  if (mode == kMrcComplexInt16 || mode == kMrcComplexFloat) return "MRC data of complex numbers are not supported";
  std::string text = "MRC data of mode ";
  return text.append(std::to_string(mode)).append(" are not supported");
}

void DescribeMrc(const SMrcHeader& header, SArrayPicture& picture) {
  SImageMetadata& metadata = picture.metadata;
  metadata.calibration = header.pixelX;
  if (header.pixelX > 0.0 && header.pixelY > 0.0) metadata.aspect = header.pixelY / header.pixelX;
  if (header.isVolume) metadata.picture.zStep = header.pixelZ;
  metadata.text.description = TextOf(header.labels);
}

SArrayPicture ReadMrc(std::shared_ptr<const CInput> input) {
  const std::optional<SMrcHeader> header = ReadMrcHeader(UnpackedHead(*input, kMrcHeaderBytes));
  if (!header) throw CDamagedError("The MRC header is damaged");
  SArrayPicture picture;
  picture.format = "MRC";
  picture.layout = MrcLayout(*header);
  picture.source.encoding = IsGzip(*input) ? EArrayEncoding::kGzip : EArrayEncoding::kRaw;
  picture.source.input = std::move(input);
  picture.source.skip = kMrcHeaderBytes + std::uint64_t{header->extendedBytes};
  picture.source.size = header->PixelBytes();
  const bool isKnown = picture.source.size != 0;
  if (!isKnown || header->mode == kMrcComplexInt16 || header->mode == kMrcComplexFloat) {
    picture.unsupported = MrcUnsupported(header->mode);
  }
  // The first row is the lowest.
  picture.stack.orientation = EOrientation::kBottomLeft;
  picture.stack.sizeZ = static_cast<std::uint32_t>(header->sections);
  if (header->volumeSections > 0) {
    picture.stack.sizeZ = static_cast<std::uint32_t>(header->volumeSections);
    picture.stack.positions = static_cast<std::uint32_t>(header->sections / header->volumeSections);
    picture.layout.position = picture.layout.z * picture.stack.sizeZ;
  }
  picture.zLoop = header->isVolume ? kQvLoopZ : kQvLoopCustom;
  DescribeMrc(*header, picture);
  return picture;
}

}  // namespace

const CCodecModule& MrcCodec() noexcept {
  static const CArrayCodec codec({"MRC", IsMrc, ReadMrc, true});
  return codec;
}

}  // namespace imageformats
