#pragma once

#include <string>
#include <string_view>

#include "platform/imageformats/tiff/directory/file_set.h"

namespace imageformats::tiff {

// "label" or "macro" when a description, or the name of an image, says in a line of its own that this is what is shown:
// the label of a slide, or the whole of its glass. Empty for everything else.
std::string AssociatedName(std::string_view text);

// The same of a page, by its description, or the kind of sub-file that scanners give their macro image. Directories
// that cannot be read are neither.
std::string AssociatedName(STiffFile& file, const SIfdSummary& page);

// No more pages are asked for what they show: slides have a handful.
inline constexpr std::size_t kMaxAssociatedPages = 64;

}  // namespace imageformats::tiff
