#include "platform/imageformats/zarr/describe.h"

#include <algorithm>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"

namespace imageformats::zarr {

namespace {

// Micrometres or seconds of one step; 0 when the file names no unit.
double StepOf(const SMultiscale& picture, EAxis kind) {
  const auto number = picture.Axis(kind);
  if (!number) return 0.0;
  const SAxis& axis = picture.axes[*number];
  const auto factor = kind == EAxis::kTime ? SecondsPer(axis.unit) : MicrometresPer(axis.unit);
  const double step = factor ? axis.scale * *factor : 0.0;
  return step > 0.0 ? step : 0.0;
}

std::uint32_t ChannelCount(const SMultiscale& picture) {
  return std::min(picture.Size(picture.levels.front(), EAxis::kChannel), kMostChannels);
}

std::uint32_t PixelType(const SStoredSamples& samples) noexcept {
  switch (samples.kind) {
    case SStoredSamples::EKind::kFloat:
      return kQvPixelFloat;
    case SStoredSamples::EKind::kSigned:
      return kQvPixelSigned;
    default:
      return kQvPixelUnsigned;
  }
}

// Pixels of a chunk along the axis, not more than the picture has.
std::uint32_t TileSide(const SArrayLayout& layout, std::size_t axis) noexcept {
  return static_cast<std::uint32_t>(std::min(layout.chunk[axis], layout.shape[axis]));
}

void DescribePlanesOf(const SMultiscale& picture, const SPlaneStack& stack, SImageMetadata* metadata) {
  auto& planes = metadata->picture.planes.planes;
  if (stack.channels.size() < 2) {
    if (!picture.channels.empty() && !picture.channels.front().label.empty()) {
      planes.front().name = TextOf(picture.channels.front().label);
    }
    return;
  }
  planes.clear();
  for (std::size_t i = 0; i < stack.channels.size(); ++i) {
    SQvPicturePlane plane;
    const bool isNamed = i < picture.channels.size() && !picture.channels[i].label.empty();
    plane.name = TextOf(isNamed ? picture.channels[i].label : "Channel " + std::to_string(i + 1));
    plane.color = DisplayColor(stack.channels, i);
    planes.push_back(plane);
  }
}

std::string ChannelNames(const SMultiscale& picture) {
  std::string names;
  for (const SOmeroChannel& channel : picture.channels) names = Joined({names, channel.label}, "; ");
  return names;
}

}  // namespace

SPlaneStack StackOf(const SMultiscale& picture) {
  const SLevel& full = picture.levels.front();
  SPlaneStack stack;
  stack.size = {picture.Size(full, EAxis::kX), picture.Size(full, EAxis::kY)};
  stack.sizeZ = picture.Size(full, EAxis::kZ);
  stack.sizeT = picture.Size(full, EAxis::kTime);
  stack.channels.resize(ChannelCount(picture));
  const auto& said = picture.channels;
  for (std::size_t i = 0; i < stack.channels.size() && i < said.size(); ++i) {
    if (stack.channels.size() > 1) stack.channels[i].color = said[i].color;
    stack.channels[i].range = said[i].window;
    stack.channels[i].isOff = !said[i].isActive;
  }
  // One colour for all is none.
  const auto isFirst = [&](const SStackChannel& channel) { return channel.color == stack.channels.front().color; };
  if (std::all_of(stack.channels.begin(), stack.channels.end(), isFirst)) {
    for (SStackChannel& channel : stack.channels) channel.color.reset();
  }
  const SStoredSamples& samples = full.layout.samples;
  const bool isWhole = samples.kind != SStoredSamples::EKind::kFloat;
  stack.labels = picture.isLabels && isWhole && stack.channels.size() == 1;
  stack.nominal = full.layout.isBoolean ? SDisplayRange{0.0, 1.0} : NominalRangeOf(samples);
  stack.stretch = samples.bytes > 1 || samples.kind != SStoredSamples::EKind::kUnsigned;
  return stack;
}

SQvImageInfo InfoOf(const SMultiscale& picture) {
  const SLevel& full = picture.levels.front();
  const SSize size{picture.Size(full, EAxis::kX), picture.Size(full, EAxis::kY)};
  const bool isByte = full.layout.samples.bytes == 1;
  SQvImageInfo info = PlainInfo(size, 1, isByte ? 8 : 16);
  info.bpcSignificant = static_cast<std::uint8_t>(full.layout.isBoolean ? 1 : full.layout.samples.bytes * 8);
  info.pixelType = PixelType(full.layout.samples);
  info.tileWidth = TileSide(full.layout, *picture.Axis(EAxis::kX));
  info.tileHeight = TileSide(full.layout, *picture.Axis(EAxis::kY));
  const std::uint64_t frames = std::uint64_t{picture.Size(full, EAxis::kZ)} * picture.Size(full, EAxis::kTime);
  info.sequenceCount = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, 0xFFFFFFFFu));
  info.compression = full.layout.IsPacked() ? kQvCompressionLossless : kQvCompressionNone;
  return info;
}

SImageMetadata Describe(const SMultiscale& picture, const SFoundPicture& found, const SPlaneStack& stack,
                        const SQvImageInfo& info, const std::string& name) {
  SImageMetadata metadata = PlainMetadata(info, "OME-Zarr", 1);
  const double width = StepOf(picture, EAxis::kX), height = StepOf(picture, EAxis::kY);
  const double zStep = StepOf(picture, EAxis::kZ);
  const double timeStep = stack.sizeT > 1 ? StepOf(picture, EAxis::kTime) : 0.0;
  SQvImageTextInfo& text = metadata.text;
  if (!picture.version.empty()) text.type = TextOf("OME-Zarr " + picture.version);
  text.imageID = TextOf(picture.name.empty() || picture.name == "/" ? name : picture.name);
  text.sampleID = TextOf(Joined({found.plateName, found.wellName}, ", "));
  text.sampling = TextOf(SamplingText(width, height, zStep, timeStep));
  text.info1 = TextOf(ChannelNames(picture));
  const CJson* creator = Member(Member(found.attributes, "_creator"), "name");
  text.info2 = TextOf(TextIn(creator));
  metadata.calibration = width;
  if (width > 0.0 && height > 0.0) metadata.aspect = height / width;
  metadata.picture.zStep = zStep;
  DescribePlanesOf(picture, stack, &metadata);
  AddLoop(kQvLoopTime, stack.sizeT, timeStep, &metadata);
  AddLoop(kQvLoopZ, stack.sizeZ, zStep, &metadata);
  AddChannelLoop(&metadata);
  return metadata;
}

}  // namespace imageformats::zarr
