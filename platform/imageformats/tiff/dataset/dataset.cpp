#include "platform/imageformats/tiff/dataset/dataset.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/channel_composite.h"
#include "platform/imageformats/tiff/dataset/companion.h"
#include "platform/imageformats/tiff/directory/associated_pages.h"
#include "platform/imageformats/tiff/directory/ifd_reader.h"
#include "platform/imageformats/tiff/directory/pyramid.h"
#include "platform/imageformats/tiff/directory/tags.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"

namespace imageformats::tiff {
namespace {

constexpr std::uint32_t kReducedOrMask = FILETYPE_REDUCEDIMAGE | FILETYPE_MASK;

// The first page that is neither a reduced copy nor a mask; a slide's label or macro image only when there is nothing
// else.
const SIfdSummary& MainPage(STiffFile& file) {
  const SIfdSummary* first = nullptr;
  std::size_t looked = 0;
  for (const SIfdSummary& ifd : file.chain) {
    if ((ifd.subfileType & kReducedOrMask) != 0 || ifd.width == 0 || ifd.height == 0) continue;
    if (++looked > kMaxAssociatedPages || AssociatedName(file, ifd).empty()) return ifd;
    if (!first) first = &ifd;
  }
  return first ? *first : file.chain.front();
}

// A label or a macro image may have the shape of a level by chance.
void AddLevel(STiffFile& file, const SIfdSummary& ifd, std::vector<SIfdSummary>* levels) {
  if (levels->size() < kMaxAssociatedPages && AssociatedName(file, ifd).empty()) levels->push_back(ifd);
}

bool SameShape(const SIfdSummary& a, const SIfdSummary& b) noexcept {
  return a.width == b.width && a.height == b.height && a.samples == b.samples && a.bits == b.bits;
}

// Pages that a view may choose: labels and macro images, which are pictures in colour, are none.
void DropAssociatedPages(STiffFile& file, const SIfdSummary& main, std::vector<std::uint64_t>* pages) {
  if (main.samples < 3 || pages->size() < 2 || pages->size() > kMaxAssociatedPages) return;
  std::erase_if(*pages, [&](std::uint64_t offset) {
    if (offset == main.offset) return false;
    const auto isPage = [offset](const SIfdSummary& ifd) { return ifd.offset == offset; };
    return !AssociatedName(file, *std::find_if(file.chain.begin(), file.chain.end(), isPage)).empty();
  });
}

// Raw camera files keep a small picture in the chain and the real one in a sub-IFD.
void PreferFullSubIfd(STiffFile& file, SDataset* dataset) {
  for (const SIfdSummary& ifd : ReadIfdChainsFrom(*file.input, dataset->page.subIfds, 1)) {
    if ((ifd.subfileType & kReducedOrMask) != 0 || ifd.width <= dataset->page.width) continue;
    if (ifd.photometric == PHOTOMETRIC_CFA) continue;
    dataset->page = ReadDatasetPage(file, ifd.offset);
    dataset->mainPlane.directory = ifd.offset;
    dataset->pages.assign(1, ifd.offset);
    dataset->shownZ = 1;
    return;
  }
}

void OpenPlainDataset(CFileSet& files, SDataset* dataset) {
  STiffFile& file = files.Main();
  const SIfdSummary& main = MainPage(file);
  dataset->kind = SDataset::EKind::kPlain;
  dataset->mainPlane.directory = main.offset;
  for (const SIfdSummary& ifd : file.chain) {
    const bool reduced = (ifd.subfileType & kReducedOrMask) != 0;
    if (!reduced && SameShape(ifd, main)) dataset->pages.push_back(ifd.offset);
    const bool flagged = (ifd.subfileType & kReducedOrMask) == FILETYPE_REDUCEDIMAGE && IsFlaggedLevel(main, ifd);
    if (flagged || (!reduced && IsUnflaggedLevel(main, ifd))) AddLevel(file, ifd, &dataset->mainPlane.levels);
  }
  DropAssociatedPages(file, main, &dataset->pages);
  if (dataset->pages.empty()) dataset->pages.push_back(main.offset);
  dataset->shownZ = static_cast<std::uint32_t>(dataset->pages.size());
  dataset->pageOrder.z = 1;
  dataset->ownZ = 0;
  dataset->page = ReadDatasetPage(file, main.offset);
  if (main.subfileType & FILETYPE_REDUCEDIMAGE) PreferFullSubIfd(file, dataset);
  for (const std::uint32_t sample : ChannelSamples(dataset->page)) {
    SOverviewChannel channel;
    channel.plane = dataset->mainPlane;
    channel.sample = sample;
    dataset->channels.push_back(channel);
  }
  dataset->sizeC = std::max<std::uint32_t>(static_cast<std::uint32_t>(dataset->channels.size()), 1);
}

// The first page's description, or the companion in its place. One that is not there in full is damage: it may be
// OME-XML that a copy in progress has not reached yet, without which the picture is another.
std::string Description(const CFileSet& files) {
  if (const CInput* companion = files.Companion()) return CompanionText(*companion);
  STiffFile& file = files.Main();
  const std::uint64_t directory = file.chain.front().offset;
  std::optional<CIfdReader> reader = CIfdReader::Open(*file.input);
  if (reader && reader->Read(directory)) {
    const std::optional<SIfdEntry> entry = reader->Find(TIFFTAG_IMAGEDESCRIPTION);
    if (entry && !reader->HoldsBytes(*entry))
      throw CDamagedError("The file is truncated: its description is not there");
  }
  try {
    file.handle.Select(directory);
  } catch (const CDamagedError&) {
    return {};  // another page may still be readable
  }
  return TextTag(file.handle, TIFFTAG_IMAGEDESCRIPTION);
}

}  // namespace

SPage ReadDatasetPage(STiffFile& file, std::uint64_t directory) {
  SPage page = ReadPage(file.handle, directory);
  if (page.bits == 8 && page.format == ESampleFormat::kSigned) page.format = ESampleFormat::kUnsigned;
  return page;
}

std::uint64_t PlaneBytes(const SPage& page) noexcept {
  return std::uint64_t{page.width} * page.height * page.samples * (page.bits / 8);
}

bool MayBeRowOfPlanes(const STiffFile& file, const SPage& first) noexcept {
  return file.chain.size() == 1 && first.compression == COMPRESSION_NONE && !first.tiled && first.bits % 8 == 0;
}

std::vector<std::uint32_t> ChannelSamples(const SPage& page) {
  if (page.photometric != PHOTOMETRIC_MINISBLACK && page.photometric != PHOTOMETRIC_MINISWHITE) return {};
  std::vector<std::uint32_t> samples = {0};
  for (std::uint32_t sample = 1; sample < page.samples && samples.size() < kMaxOverviewChannels; ++sample) {
    const std::uint16_t type =
        sample - 1 < page.extraSamples.size() ? page.extraSamples[sample - 1] : std::uint16_t{EXTRASAMPLE_UNSPECIFIED};
    if (type != EXTRASAMPLE_ASSOCALPHA && type != EXTRASAMPLE_UNASSALPHA) samples.push_back(sample);
  }
  if (samples.size() == 1) samples.clear();
  return samples;
}

SDataset OpenDataset(CFileSet& files) {
  SDataset dataset;
  STiffFile& file = files.Main();
  const std::string description = Description(files);
  if (LooksLikeOmeXml(description) && OpenOmeDataset(files, description, &dataset)) return dataset;
  if (std::optional<SImageJ> imageJ = ParseImageJDescription(description)) {
    ParseImageJMetadata(LongsTag(file.handle, kTagImageJCounts), BytesTag(file.handle, kTagImageJMetadata), &*imageJ);
    if (OpenImageJDataset(files, *imageJ, &dataset)) return dataset;
    dataset.imageJ = std::move(imageJ);
  }
  OpenPlainDataset(files, &dataset);
  ApplyTifffileShape(file, description, &dataset);
  return dataset;
}

std::vector<SStackChannel> StackChannels(const SDataset& dataset) {
  return {dataset.channels.begin(), dataset.channels.end()};
}

bool LocatePage(STiffFile& file, const SDataset& dataset, std::uint64_t number, SPlane* plane) {
  if (dataset.kind == SDataset::EKind::kPlain) {
    if (number >= dataset.pages.size()) return false;
    plane->directory = dataset.pages[static_cast<std::size_t>(number)];
    return true;
  }
  if (file.chain.size() > 1 || number == 0) {
    if (number >= file.chain.size()) return false;
    plane->directory = file.chain[static_cast<std::size_t>(number)].offset;
    return true;
  }
  const SPage& first = dataset.page;
  if (!MayBeRowOfPlanes(file, first)) return false;
  plane->directory = first.offset;
  plane->dataOffset = number * PlaneBytes(first);
  return true;
}

}  // namespace imageformats::tiff
