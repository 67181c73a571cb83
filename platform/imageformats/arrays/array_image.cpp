#include "platform/imageformats/arrays/array_image.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/imageformats/arrays/array_planes.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/planes/picture_samples.h"

namespace imageformats {

namespace {

using EKind = SStoredSamples::EKind;

std::uint32_t SampleBits(const SArrayLayout& layout) noexcept {
  return layout.isNibbles ? 4 : layout.samples.bytes * 8;
}

SDisplayRange NominalRangeOf(const SArrayLayout& layout) noexcept {
  const SDisplayRange stored = layout.isNibbles ? NominalRange(4) : imageformats::NominalRangeOf(layout.samples);
  const double a = stored.low * layout.slope + layout.intercept, b = stored.high * layout.slope + layout.intercept;
  return {std::min(a, b), std::max(a, b)};
}

void CompleteStack(SArrayPicture& picture) {
  const SArrayLayout& layout = picture.layout;
  SPlaneStack& stack = picture.stack;
  Require(layout.size.width > 0 && layout.size.height > 0 && stack.sizeZ > 0 && stack.sizeT > 0 && stack.positions > 0,
          "The picture has no pixels");
  stack.size = layout.size;
  stack.nominal = NominalRangeOf(layout);
  stack.stretch = SampleBits(layout) > 8 || layout.samples.kind != EKind::kUnsigned || layout.blank.has_value();
  if (layout.components == 1 && stack.channels.empty()) stack.channels.emplace_back();
}

SQvImageInfo InfoOf(const SArrayPicture& picture) {
  const SArrayLayout& layout = picture.layout;
  SQvImageInfo info = PlainInfo(layout.size, layout.components, static_cast<std::uint8_t>(SampleBits(layout)));
  info.bpcInMemory = static_cast<std::uint8_t>(CPictureSamples::BitsFor(AveragedType(layout)));
  info.widthBytes = info.width * info.components * (info.bpcInMemory / 8u);
  info.pixelType = layout.samples.kind == EKind::kFloat    ? kQvPixelFloat
                   : layout.samples.kind == EKind::kSigned ? kQvPixelSigned
                                                           : kQvPixelUnsigned;
  const std::uint64_t frames =
      CRenderGuard::Multiply(std::uint64_t{picture.stack.sizeZ} * picture.stack.sizeT, picture.stack.positions);
  info.sequenceCount = static_cast<std::uint32_t>(std::min<std::uint64_t>(frames, 0xFFFFFFFFu));
  const bool isPacked =
      picture.source.encoding == EArrayEncoding::kGzip || picture.source.encoding == EArrayEncoding::kBzip2;
  info.compression = isPacked ? kQvCompressionLossless : kQvCompressionNone;
  return info;
}

void CompletePlanes(const SArrayPicture& picture, SImageMetadata& metadata) {
  auto& planes = metadata.picture.planes.planes;
  const std::vector<SStackChannel>& channels = picture.stack.channels;
  if (channels.size() < 2) {
    planes = PlainMetadata(metadata.info, "", picture.layout.components).picture.planes.planes;
    return;
  }
  planes.resize(channels.size());
  for (std::size_t i = 0; i < channels.size(); ++i) {
    planes[i].components = 1;
    planes[i].color = DisplayColor(channels, i);
    if (planes[i].name.IsEmpty()) planes[i].name = TextOf("Channel " + std::to_string(i + 1));
  }
}

// Lengths from a hundredth of an atom to a kilometre; anything else is no measurement.
double Plausible(double micrometres) noexcept { return micrometres >= 1e-6 && micrometres <= 1e9 ? micrometres : 0.0; }

void CompleteMetadata(SArrayPicture& picture) {
  SImageMetadata& metadata = picture.metadata;
  metadata.info = InfoOf(picture);
  SetIfEmpty(metadata.text.type, TextOf(picture.format));
  CompletePlanes(picture, metadata);
  metadata.calibration = Plausible(metadata.calibration);
  metadata.picture.zStep = Plausible(metadata.picture.zStep);
  if (!(metadata.aspect > 0.0) || !std::isfinite(metadata.aspect)) metadata.aspect = 1.0;
  if (!(picture.timeStep > 0.0) || !std::isfinite(picture.timeStep)) picture.timeStep = 0.0;
  const double zStep = metadata.picture.zStep;
  AddLoop(picture.tLoop, picture.stack.sizeT, picture.timeStep, &metadata);
  AddLoop(kQvLoopCustom, picture.stack.positions, 0.0, &metadata);
  AddLoop(picture.zLoop, picture.stack.sizeZ, picture.zLoop == kQvLoopZ ? zStep : 0.0, &metadata);
  AddChannelLoop(&metadata);
  SetIfEmpty(metadata.text.sampling, TextOf(SamplingText(metadata.calibration, metadata.calibration * metadata.aspect,
                                                         zStep, picture.timeStep)));
}

}  // namespace

void CompleteArray(SArrayPicture& picture) {
  CompleteStack(picture);
  CompleteMetadata(picture);
}

CArrayImage::CArrayImage(SArrayPicture picture) : m_picture(std::move(picture)) { CompleteArray(m_picture); }

std::unique_ptr<IArrayBytes> CArrayImage::OpenBytes(CRenderGuard& guard) const {
  if (!m_picture.unsupported.empty()) throw CUnsupportedError(m_picture.unsupported);
  return OpenArrayBytes(m_picture.source, m_picture.layout.samples, guard);
}

void CArrayImage::Read(SQvPicBuf& picture, CRenderGuard& guard) {
  const std::unique_ptr<IArrayBytes> bytes = OpenBytes(guard);
  SPlaneIndex middle;
  middle.z = m_picture.stack.sizeZ / 2;
  ReadArrayPlane(m_picture.layout, *bytes, middle, m_picture.stack.orientation, picture, guard);
  bytes->Finish();
}

void CArrayImage::Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) {
  const std::unique_ptr<IArrayBytes> bytes = OpenBytes(guard);
  CArrayPlanes planes(m_picture.layout, *bytes, guard);
  RenderPlanes(m_picture.stack, planes, request, picture, guard);
  bytes->Finish();
}

}  // namespace imageformats
