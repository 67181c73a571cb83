#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {
namespace {

// Bytes of one uncompressed plane, by which the planes of a stack under a single directory follow each other.
std::uint64_t PlaneBytes(const SPage& page) noexcept {
  return std::uint64_t{page.width} * page.height * page.samples * (page.bits / 8);
}

// The plane's number in the file, channels running fastest, then slices, then frames.
bool LocatePlane(STiffFile& file, const SPage& first, std::uint64_t number, SPlane* plane) {
  if (file.chain.size() > 1 || number == 0) {
    if (number >= file.chain.size()) return false;
    plane->directory = file.chain[number].offset;
    return true;
  }
  if (first.compression != COMPRESSION_NONE || first.tiled || first.bits % 8 != 0) return false;
  plane->directory = first.offset;
  plane->dataOffset = number * PlaneBytes(first);
  return true;
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

// ImageJ writes the planes first and their directories behind them, so a file that has lost its end, or does not have
// it yet, looks like a stack under one directory or like a single plane. Its description tells what there should be.
void RequireWhole(STiffFile& file, const SImageJ& imageJ, const SPage& first) {
  constexpr const char* kCut = "The file ends before the last plane of its ImageJ stack";
  if (file.chainLeadsOut && file.chain.size() < imageJ.images) throw CDamagedError(kCut);
  const bool isRow = file.chain.size() == 1 && imageJ.images > 1 && first.compression == COMPRESSION_NONE &&
                     !first.tiled && first.bits % 8 == 0;
  if (!isRow) return;
  file.handle.Select(file.chain.front().offset);
  const std::uint64_t start = TIFFGetStrileOffset(file.handle.Get(), 0);
  const std::uint64_t size = file.input->Size();
  if (start > size || (size - start) / std::max<std::uint64_t>(PlaneBytes(first), 1) < imageJ.images) {
    throw CDamagedError(kCut);
  }
}

// Whether the sizes account for the planes that the file holds.
bool SizesFit(const STiffFile& file, const SImageJ& imageJ) noexcept {
  const std::uint64_t planes = std::uint64_t{imageJ.channels} * imageJ.slices * imageJ.frames;
  return planes >= 1 && planes == imageJ.images && (file.chain.size() == 1 || file.chain.size() >= planes);
}

}  // namespace

bool OpenImageJDataset(CFileSet& files, const SImageJ& imageJ, SDataset* dataset) {
  STiffFile& file = files.Main();
  const SPage first = ReadPage(file.handle, file.chain.front().offset);
  RequireWhole(file, imageJ, first);
  if (!SizesFit(file, imageJ)) return false;
  SDataset result;
  result.kind = SDataset::EKind::kImageJ;
  result.imageJ = imageJ;
  result.sizeC = imageJ.channels;
  result.sizeZ = imageJ.slices;
  result.sizeT = imageJ.frames;
  const std::uint64_t middle = std::uint64_t{imageJ.slices / 2} * imageJ.channels;
  for (std::uint32_t c = 0; c < std::min(imageJ.channels, kMaxOverviewChannels); ++c) {
    SOverviewChannel channel = DescribeChannel(imageJ, c);
    if (!LocatePlane(file, first, middle + c, &channel.plane)) return false;
    result.channels.push_back(std::move(channel));
  }
  result.mainPlane = result.channels.front().plane;
  result.page = ReadPage(file.handle, result.mainPlane.directory);
  // A single picture with its own colours needs no composite.
  const bool isColor = result.page.photometric == PHOTOMETRIC_RGB || result.page.photometric == PHOTOMETRIC_PALETTE;
  if (result.channels.size() == 1 && isColor) result.channels.clear();
  *dataset = std::move(result);
  return true;
}

}  // namespace imageformats::tiff
