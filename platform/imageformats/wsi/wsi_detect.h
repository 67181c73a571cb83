#pragma once

#include "platform/imageformats/base/input.h"

namespace imageformats {

// Whether it is a TIFF file that a slide scanner may have written: its first picture is tiled and says by a description
// (not an OME or ImageJ one), a program or an XMP packet where it comes from, or it carries tags from the top of the
// private range. A look at one directory, so that other TIFF files do not pay for OpenSlide's detection.
bool MayBeSlideTiff(const CInput& input) noexcept;

// Whether it has the content of a JPEG file but not the name of one: some scanners keep a preview in a JPEG file of
// another name, and the slide in the folder beside it.
bool MayBeSlidePreview(const CInput& input) noexcept;

// Whether OpenSlide knows the file as a slide of a scanner (its "generic-tiff" does not count).
bool IsSlide(const CInput& input) noexcept;

}  // namespace imageformats
