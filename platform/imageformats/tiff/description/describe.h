#pragma once

#include <string>

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

// A loop of more than one step; the step is in seconds or micrometres, 0 unknown.
void AddLoop(std::uint32_t type, std::uint32_t size, double step, SImageMetadata* metadata);

// The loop of channels, from the planes; adds nothing for a single one.
void AddChannelLoop(SImageMetadata* metadata);

// Text before and after a number that is known, that is, above 0; else empty.
std::string Labelled(const char* before, double value, int decimals, const char* after);
// Pixels and z step in micrometres, time step in seconds.
std::string SamplingText(double pixelWidth, double pixelHeight, double zStep, double timeStep);

}  // namespace imageformats::tiff
