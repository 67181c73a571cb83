#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/imageformats/render/channel_composite.h"
#include "platform/imageformats/tiff/dataset/imagej.h"
#include "platform/imageformats/tiff/directory/file_set.h"
#include "platform/imageformats/tiff/directory/page.h"
#include "platform/imageformats/tiff/ome/ome_model.h"

namespace imageformats::tiff {

// Where the pixels of one plane lie.
struct SPlane {
  std::size_t file = 0;         // in the file set
  std::uint64_t directory = 0;  // offset
  // Bytes behind where the directory says: the planes of a large ImageJ stack follow each other under one directory.
  std::uint64_t dataOffset = 0;
  std::vector<SIfdSummary> levels;  // reduced copies in the main chain
};

// More channels than a mask of 32 bits can name are not shown.
inline constexpr std::uint32_t kMaxOverviewChannels = 32;

// A channel as the overview shows it.
struct SOverviewChannel {
  SPlane plane;
  std::uint32_t sample = 0;
  std::string name;                           // UTF-8
  std::optional<std::uint32_t> color;         // 0x00RRGGBB
  double emission = 0.0;                      // nanometres, 0 unknown: a colour to fall back on
  std::shared_ptr<const SLookupTable> table;  // instead of the colour
  std::optional<SDisplayRange> range;         // what the author last looked at
};

// What the file as a whole is: the sizes of its dimensions, and the planes of the overview (middle z plane of the first
// time point and position).
struct SDataset {
  enum class EKind { kPlain, kImageJ, kOme };
  EKind kind = EKind::kPlain;
  SPage page;        // of the overview's first plane
  SPlane mainPlane;  // the overview's first plane
  // Several channels, or channels that lie in samples: each in a colour of its own. Empty: `page` is one picture.
  std::vector<SOverviewChannel> channels;
  std::uint32_t pages = 1;  // plain files: pictures of the first one's shape

  std::uint32_t sizeZ = 1, sizeT = 1, sizeC = 1;
  std::optional<SImageJ> imageJ;
  SOmeDocument ome;
  std::string omeUuid, omeDocumentFile;   // of the opened file; the file that holds the document, empty: the opened one
  std::size_t omeImage = 0;               // the shown one
  std::vector<std::size_t> omePositions;  // images of its shape, in order
};

// Works the dataset out. Descriptions that contradict the file are given up for what the pages themselves show. Throws
// CDamagedError when not even that can be read, and when the description was cut off.
SDataset OpenDataset(CFileSet& files);

// Reads a page of a dataset of that kind. The 8-bit signed samples of OME-TIFF are taken as unsigned: its writers in
// Java, whose only byte is signed, call ordinary pictures so.
SPage ReadDatasetPage(STiffFile& file, SDataset::EKind kind, std::uint64_t directory);

// Channels for the samples of a picture that holds something else than a picture's colours and opacity; empty when
// the page is a picture.
std::vector<std::uint32_t> ChannelSamples(const SPage& page);

// The colour of a channel that has no table: its own, else that of its light where every channel's is known and
// different, else a default one.
std::uint32_t DisplayColor(const std::vector<SOverviewChannel>& channels, std::size_t index);

// The kinds of datasets; false, *dataset untouched, when the description does not fit the file.
bool OpenOmeDataset(CFileSet& files, const std::string& description, SDataset* dataset);
// Another image of the document of an OME dataset, to be rendered: its planes, without the document. None when no plane
// of it is there. Throws CDamagedError.
std::optional<SDataset> OpenOmeImage(CFileSet& files, const SDataset& dataset, std::size_t image);
bool OpenImageJDataset(CFileSet& files, const SImageJ& imageJ, SDataset* dataset);

}  // namespace imageformats::tiff
