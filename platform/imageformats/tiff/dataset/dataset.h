#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/imageformats/planes/plane_stack.h"
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
struct SOverviewChannel : SStackChannel {
  SPlane plane;
  std::uint32_t planeNumber = 0;  // among the planes of one z and time
  std::uint32_t sample = 0;
  std::string name;  // UTF-8
};

// How the pages of a stack follow each other: how many planes further the next step of each dimension lies.
struct SPageOrder {
  std::uint64_t channel = 0, z = 0, t = 0, position = 0;
  std::uint32_t planesInPage = 1;
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
  // Plain files: the directories of the pictures of the first one's shape.
  std::vector<std::uint64_t> pages;
  SPageOrder pageOrder;      // not of OME documents
  bool hasPageAxes = false;  // plain files: the description tells what runs from page to page

  // Of a plain sequence, which does not say what its pages are, 1; its pages are shownZ.
  std::uint32_t sizeZ = 1, sizeT = 1, sizeC = 1;
  // What can be chosen from.
  std::uint32_t shownZ = 1, positions = 1;
  std::optional<std::uint32_t> ownZ;  // what is shown by default instead of the middle
  std::optional<SImageJ> imageJ;
  SOmeDocument ome;
  std::string omeUuid, omeDocumentFile;   // of the opened file; the file that holds the document, empty: the opened one
  std::size_t omeImage = 0;               // the shown one
  std::vector<std::size_t> omePositions;  // images of its shape, in order
};

// Works the dataset out. Descriptions that contradict the file are given up for what the pages themselves show. Throws
// CDamagedError when not even that can be read, and when the description was cut off.
SDataset OpenDataset(CFileSet& files);

// Reads a page. 8-bit signed samples are taken as unsigned, as most viewers do: writers in Java, whose only byte is
// signed, call ordinary pictures so.
SPage ReadDatasetPage(STiffFile& file, std::uint64_t directory);

// Bytes of one uncompressed plane, by which the planes of a stack under a single directory follow each other, and
// whether they may do so in this file.
std::uint64_t PlaneBytes(const SPage& page) noexcept;
bool MayBeRowOfPlanes(const STiffFile& file, const SPage& first) noexcept;

// A page of a stack by its number; false when it is not there. The pages of an ImageJ stack may follow each other under
// one directory.
bool LocatePage(STiffFile& file, const SDataset& dataset, std::uint64_t number, SPlane* plane);

// Channels for the samples of a picture that holds something else than a picture's colours and opacity; empty when
// the page is a picture.
std::vector<std::uint32_t> ChannelSamples(const SPage& page);

// How the dataset's channels are shown.
std::vector<SStackChannel> StackChannels(const SDataset& dataset);

// The kinds of datasets; false, *dataset untouched, when the description does not fit the file.
bool OpenOmeDataset(CFileSet& files, const std::string& description, SDataset* dataset);
// Another image of the document of an OME dataset, to be rendered: its planes, without the document. None when no plane
// of it is there. Throws CDamagedError.
std::optional<SDataset> OpenOmeImage(CFileSet& files, const SDataset& dataset, std::size_t image);
bool OpenImageJDataset(CFileSet& files, const SImageJ& imageJ, SDataset* dataset);
// Gives the pages of an opened plain dataset the dimensions that a description by tifffile tells ({"shape": [...],
// "axes": "..."}); leaves it as it is when the text is another or does not fit.
void ApplyTifffileShape(STiffFile& file, const std::string& description, SDataset* dataset);

}  // namespace imageformats::tiff
