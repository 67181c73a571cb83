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

SImageMetadata DescribeDataset(CFileSet& files, const SDataset& dataset, const SQvImageInfo& info) {
  SImageMetadata metadata = PlainMetadata(info, FormatName(files, dataset), ColorComponents(dataset.page));
  DescribePlanes(dataset, &metadata);
  if (dataset.kind == SDataset::EKind::kOme) DescribeOme(dataset, &metadata);
  if (dataset.imageJ) DescribeImageJ(files, dataset, &metadata);
  DescribeTags(files, dataset, &metadata);
  return metadata;
}

}  // namespace imageformats::tiff
