#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/imageformats/tiff/ome/ome_model.h"

namespace imageformats::tiff {

// Longer documents are refused: parsing takes several times the text's size of memory.
inline constexpr std::size_t kMaxOmeXmlBytes = 24u << 20;
inline constexpr int kMaxOmeXmlDepth = 64;
// More images, channels or TiffData elements of an image than this are not read.
inline constexpr std::size_t kMaxOmeImages = 16384;
inline constexpr std::size_t kMaxOmeChannels = 1024;
inline constexpr std::size_t kMaxOmeTiffData = 4u << 20;

// True when the text of an ImageDescription tag is an OME-XML document (an OME root element, perhaps behind a
// declaration and comments, perhaps with a namespace prefix), or the beginning of one that was cut off before its root.
// Does not parse it.
bool LooksLikeOmeXml(std::string_view text);

// Parses a document. Entities other than the five of XML are left as they stand; nothing outside the text is ever
// read. Throws CDamagedError when the text is not well-formed: it was cut off. False with a reason for people in
// *error, *document being undefined, when it is larger or deeper than the limits, or holds no image and names no
// metadata file.
bool ParseOmeXml(std::string_view text, SOmeDocument* document, std::string* error);

}  // namespace imageformats::tiff
