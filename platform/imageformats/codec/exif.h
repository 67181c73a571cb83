#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "platform/imageformats/codec/image_metadata.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

// EXIF (CIPA DC-008) of a picture, through libexif. The bytes start with the TIFF header ("II*" or "MM*") or with
// "Exif\0\0" before it. Damaged EXIF reads as empty.

// Tag 0x0112 of the first directory; kTopLeft when missing or out of range.
EOrientation ExifOrientation(std::span<const std::uint8_t> exif) noexcept;

// Fills texts and acquisition time that are still unknown:
//   author <- Artist; description <- ImageDescription, else UserComment; capturing <- Make and Model;
//   date <- DateTimeOriginal, else DateTimeDigitized, else DateTime, as YYYY-MM-DD hh:mm:ss; info1 <- Software;
//   info2 <- exposure time, aperture, sensitivity; optics <- LensModel, focal length; location <- GPS position;
//   imageID <- ImageUniqueID; acquisitionTime <- the date, its OffsetTime applied, local time without one.
void ApplyExif(std::span<const std::uint8_t> exif, SImageMetadata& metadata);

// EXIF's and TIFF's "YYYY:MM:DD hh:mm:ss" (blanks, and '-' between date fields, are accepted). False, outputs
// untouched, when it is no date. `text` receives YYYY-MM-DD hh:mm:ss, `julianDay` the day number with the offset
// (minutes east of UTC; none: the date is local time, as a camera's clock shows it) taken off. Either may be null.
bool ParseExifDate(const char* date, std::optional<int> offsetMinutes, CQvStringW* text, double* julianDay);

}  // namespace imageformats
