#include "platform/imageformats/tiff/description/describe.h"

#include <algorithm>

#include "platform/imageformats/base/text.h"

namespace imageformats::tiff {
namespace {

// The colour of a channel's full intensity.
std::uint32_t PlaneColor(const std::vector<SStackChannel>& channels, std::size_t index) {
  const SStackChannel& channel = channels[index];
  if (!channel.color && channel.table) {
    const std::uint8_t* last = channel.table->data() + channel.table->size() - 3;
    return std::uint32_t{last[0]} << 16 | std::uint32_t{last[1]} << 8 | last[2];
  }
  return DisplayColor(channels, index);
}

std::uint32_t ColorComponents(const SPage& page) noexcept {
  const bool grey = page.photometric == PHOTOMETRIC_MINISBLACK || page.photometric == PHOTOMETRIC_MINISWHITE ||
                    page.photometric == PHOTOMETRIC_MASK || page.photometric == PHOTOMETRIC_LOGL || page.samples == 1;
  return grey && page.photometric != PHOTOMETRIC_PALETTE ? 1 : 3;
}

const char* FormatName(CFileSet& files, const SDataset& dataset) {
  if (dataset.kind == SDataset::EKind::kOme) return "OME-TIFF";
  if (dataset.imageJ) return "ImageJ TIFF";
  return files.Main().handle.IsBigTiff() ? "BigTIFF" : "TIFF";
}

}  // namespace

void DescribePlanes(const SDataset& dataset, SImageMetadata* metadata) {
  auto& planes = metadata->picture.planes.planes;
  if (dataset.channels.size() > 1) planes.clear();
  const std::vector<SStackChannel> channels = StackChannels(dataset);
  for (std::size_t i = 0; i < channels.size(); ++i) {
    if (i >= planes.size()) planes.emplace_back();
    SQvPicturePlane& plane = planes[i];
    plane.components = 1;
    plane.color = PlaneColor(channels, i);
    if (!dataset.channels[i].name.empty()) plane.name = TextOf(dataset.channels[i].name);
    if (plane.name.IsEmpty()) plane.name = TextOf("Channel " + std::to_string(i + 1));
  }
  // Channels that the overview does not show: those of missing files, or more than it composes.
  for (std::size_t i = planes.size(); i < std::min(dataset.sizeC, 4096u); ++i) {
    SQvPicturePlane& plane = planes.emplace_back();
    plane.name = TextOf("Channel " + std::to_string(i + 1));
    plane.color = DefaultChannelColor(i, dataset.sizeC);
  }
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

SImageMetadata DescribeDataset(CFileSet& files, const SDataset& dataset, const SQvImageInfo& info) {
  SImageMetadata metadata = PlainMetadata(info, FormatName(files, dataset), ColorComponents(dataset.page));
  DescribePlanes(dataset, &metadata);
  if (dataset.kind == SDataset::EKind::kOme) DescribeOme(dataset, &metadata);
  if (dataset.imageJ) DescribeImageJ(files, dataset, &metadata);
  DescribeTags(files, dataset, &metadata);
  return metadata;
}

}  // namespace imageformats::tiff
