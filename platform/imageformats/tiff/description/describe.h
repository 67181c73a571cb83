#pragma once

#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

// Turns what files say into the platform's records; docs/formats.md maps field by field. Each function fills what is
// still unknown.
namespace imageformats::tiff {

// All of it: COpenedImage::Metadata.
SImageMetadata DescribeDataset(CFileSet& files, const SDataset& dataset, const SQvImageInfo& info);

void DescribeOme(const SDataset& dataset, SImageMetadata* metadata);
void DescribeImageJ(CFileSet& files, const SDataset& dataset, SImageMetadata* metadata);
// TIFF's own tags, and EXIF directories.
void DescribeTags(CFileSet& files, const SDataset& dataset, SImageMetadata* metadata);

// Planes of the dataset's channels with names and colours; kind-specific facts are added by the functions above.
void DescribePlanes(const SDataset& dataset, SImageMetadata* metadata);

}  // namespace imageformats::tiff
