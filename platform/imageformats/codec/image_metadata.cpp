#include "platform/imageformats/codec/image_metadata.h"

#include <utility>

#include "platform/imageformats/base/text.h"

namespace imageformats {

SQvImageInfo PlainInfo(SSize shown, std::uint32_t components, std::uint8_t bits) {
  SQvImageInfo info;
  info.width = info.tileWidth = shown.width;
  info.height = info.tileHeight = shown.height;
  info.components = components;
  info.bpcInMemory = bits > 8 ? 16 : 8;
  info.bpcSignificant = bits;
  info.widthBytes = info.width * components * (info.bpcInMemory / 8u);
  info.pixelType = kQvPixelUnsigned;
  info.sequenceCount = 1;
  return info;
}

SImageMetadata PlainMetadata(const SQvImageInfo& info, const char* formatName, std::uint32_t colorComponents) {
  SImageMetadata metadata;
  metadata.info = info;
  metadata.text.type = TextOf(formatName);
  SQvPicturePlane plane;
  plane.name = colorComponents == 1 ? L"Grey" : L"RGB";
  plane.color = 0xFFFFFF;
  plane.components = colorComponents;
  metadata.picture.planes.planes.push_back(plane);
  return metadata;
}

void AddLoop(std::uint32_t type, std::uint32_t size, double step, SImageMetadata* metadata) {
  if (size < 2) return;
  SLoop& loop = metadata->loops.emplace_back();
  loop.type = type;
  loop.size = size;
  loop.step = step;
}

void AddChannelLoop(SImageMetadata* metadata) {
  const auto& planes = metadata->picture.planes.planes;
  if (planes.size() < 2) return;
  SLoop loop;
  loop.type = kQvLoopLambda;
  loop.size = static_cast<std::uint32_t>(planes.size());
  for (const SQvPicturePlane& plane : planes) {
    SQvExperimentChannel channel;
    channel.name = plane.name;
    channel.color = plane.color;
    channel.excitationWavelength = plane.excitationWavelength;
    channel.emissionWavelength = plane.emissionWavelength;
    loop.channels.push_back(channel);
  }
  metadata->loops.push_back(std::move(loop));
}

std::string Labelled(const char* before, double value, int decimals, const char* after) {
  return value > 0.0 ? before + NumberText(value, decimals) + after : std::string();
}

std::string SamplingText(double pixelWidth, double pixelHeight, double zStep, double timeStep) {
  std::string pixel = Joined({Labelled("", pixelWidth, 6, ""), Labelled("", pixelHeight, 6, "")}, " x ");
  if (!pixel.empty()) pixel += " \xC2\xB5m per pixel";
  return Joined({pixel, Labelled("z step ", zStep, 6, " \xC2\xB5m"), Labelled("time step ", timeStep, 6, " s")}, ", ");
}

}  // namespace imageformats
