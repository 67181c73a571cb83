#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/imageformats/tiff/directory/tiff_handle.h"

// Tags of the selected directory whose type a hostile file may have changed: libtiff hands out what it read, so the
// type is asked for first. The memory is libtiff's, valid until another directory is selected.
namespace imageformats::tiff {

// ImageJ's private tags: the byte counts of the metadata's parts, and the parts.
inline constexpr std::uint32_t kTagImageJCounts = 50838;
inline constexpr std::uint32_t kTagImageJMetadata = 50839;
// Embedded thumbnails: a JPEG stream, and rows of 8-bit R G B.
inline constexpr std::uint32_t kTagThumbnailJpeg = 65050;
inline constexpr std::uint32_t kTagThumbnailPixels = 65051;

// A text without trailing blanks, in the file's encoding; empty when missing.
std::string TextTag(CTiffHandle& tiff, std::uint32_t tag);
// A private tag of bytes; empty when missing or of another type.
std::span<const std::uint8_t> BytesTag(CTiffHandle& tiff, std::uint32_t tag);
// A private tag of 32-bit numbers; empty when missing or of another type.
std::span<const std::uint32_t> LongsTag(CTiffHandle& tiff, std::uint32_t tag);

}  // namespace imageformats::tiff
