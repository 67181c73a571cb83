#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {
namespace {

// A stack's channels may be the samples of its pages: how many of them one page holds. A file with as many pages as the
// stack has planes has a page for each, whatever these hold.
std::uint32_t ChannelsInPage(const STiffFile& file, const SImageJ& imageJ, const SPage& page) noexcept {
  const std::uint32_t colors = page.photometric == PHOTOMETRIC_RGB ? std::min(page.samples, 3u) : page.samples;
  return imageJ.channels == colors && file.chain.size() < imageJ.images ? colors : 1;
}

SOverviewChannel DescribeChannel(const SImageJ& imageJ, std::uint32_t index) {
  SOverviewChannel channel;
  if (index < imageJ.tables.size()) channel.table = std::make_shared<SLookupTable>(imageJ.tables[index]);
  if (index < imageJ.ranges.size() && imageJ.ranges[index].low < imageJ.ranges[index].high) {
    channel.range = imageJ.ranges[index];
  } else if (imageJ.channels == 1) {
    channel.range = imageJ.range;
  }
  return channel;
}

std::uint64_t Planes(const SImageJ& imageJ) noexcept {
  return std::uint64_t{imageJ.channels} * imageJ.slices * imageJ.frames;
}

// ImageJ writes the planes first and their directories behind them, so a file that has lost its end, or does not have
// it yet, looks like a stack under one directory or like a single plane. Its description tells what there should be.
void RequireWhole(STiffFile& file, const SImageJ& imageJ, const SPage& first, std::uint32_t channelsInPage) {
  constexpr const char* kCut = "The file ends before the last plane of its ImageJ stack";
  const std::uint64_t planes = std::max<std::uint64_t>(imageJ.images, Planes(imageJ));
  if (file.chainLeadsOut && file.chain.size() < planes / channelsInPage) throw CDamagedError(kCut);
  const std::uint64_t inRow = imageJ.images / channelsInPage;
  if (inRow <= 1 || !MayBeRowOfPlanes(file, first)) return;
  file.handle.Select(file.chain.front().offset);
  const std::uint64_t start = TIFFGetStrileOffset(file.handle.Get(), 0);
  const std::uint64_t size = file.input->Size();
  if (start > size || (size - start) / std::max<std::uint64_t>(PlaneBytes(first), 1) < inRow) {
    throw CDamagedError(kCut);
  }
}

// Makes sizes that contradict the number of planes follow it: programs change one and forget the other. False when that
// cannot be.
bool FitSizes(std::uint64_t planes, SImageJ* imageJ) noexcept {
  const std::uint64_t stated = Planes(*imageJ);
  if (stated == planes || (stated == imageJ->images && stated < planes)) return true;
  if (planes % imageJ->channels != 0) return false;
  const std::uint64_t each = planes / imageJ->channels;
  if (imageJ->slices > 1 && each % imageJ->frames == 0) {
    imageJ->slices = static_cast<std::uint32_t>(each / imageJ->frames);
  } else if (each % imageJ->slices == 0) {
    imageJ->frames = static_cast<std::uint32_t>(each / imageJ->slices);
  } else {
    return false;
  }
  return true;
}

}  // namespace

bool OpenImageJDataset(CFileSet& files, const SImageJ& described, SDataset* dataset) {
  STiffFile& file = files.Main();
  const SPage first = ReadDatasetPage(file, file.chain.front().offset);
  SImageJ imageJ = described;
  const std::uint32_t inPage = ChannelsInPage(file, imageJ, first);
  RequireWhole(file, imageJ, first, inPage);
  const std::uint64_t planes =
      MayBeRowOfPlanes(file, first) ? imageJ.images : std::uint64_t{inPage} * file.chain.size();
  if (!FitSizes(planes, &imageJ)) return false;
  SDataset result;
  result.kind = SDataset::EKind::kImageJ;
  result.sizeC = imageJ.channels;
  result.sizeZ = imageJ.slices;
  result.sizeT = imageJ.frames;
  result.shownZ = imageJ.slices;
  result.pageOrder = {1, imageJ.channels, std::uint64_t{imageJ.channels} * imageJ.slices, 0, inPage};
  result.page = first;
  const std::uint64_t middle = std::uint64_t{imageJ.slices / 2} * imageJ.channels;
  for (std::uint32_t c = 0; c < std::min(imageJ.channels, kMaxOverviewChannels); ++c) {
    SOverviewChannel channel = DescribeChannel(imageJ, c);
    channel.planeNumber = c;
    channel.sample = c % inPage;
    if (!LocatePage(file, result, (middle + c) / inPage, &channel.plane)) return false;
    result.channels.push_back(std::move(channel));
  }
  result.imageJ = std::move(imageJ);
  result.mainPlane = result.channels.front().plane;
  result.page = ReadDatasetPage(file, result.mainPlane.directory);
  // A single picture with its own colours needs no composite.
  const bool isColor = result.page.photometric == PHOTOMETRIC_RGB || result.page.photometric == PHOTOMETRIC_PALETTE;
  if (result.channels.size() == 1 && isColor) result.channels.clear();
  *dataset = std::move(result);
  return true;
}

}  // namespace imageformats::tiff
