#pragma once

#include <string>

#include "platform/imageformats/common/image_metadata.h"
#include "platform/imageformats/tiff/dataset.h"

// Turns what files say into the platform's records; docs/formats.md maps field by field. Each function fills what is
// still unknown.
namespace imageformats::tiff {

void DescribeOme(const SDataset& dataset, SImageMetadata* metadata);
void DescribeImageJ(FileSet& files, const SDataset& dataset, SImageMetadata* metadata);
// TIFF's own tags, and EXIF that lies in the file.
void DescribeTags(FileSet& files, const SDataset& dataset, SImageMetadata* metadata);

// Planes of the dataset's channels with names and colours; kind-specific facts are added by the functions above.
void DescribePlanes(const SDataset& dataset, SImageMetadata* metadata);

// The loop of channels, from the planes; adds nothing for a single one.
void AddChannelLoop(SImageMetadata* metadata);

}  // namespace imageformats::tiff
