#pragma once

#include <optional>
#include <string_view>

// Units as OME-XML (UnitsLength, UnitsTime of the 2015-01 schema and later) and ImageJ calibrations write them, in
// UTF-8. Names compare without regard to ASCII case except where SI tells two units apart by it (Mm, mm). Pure
// functions.
namespace imageformats {

// Micrometres in one `unit`. Nothing for units that are no length (pixel, reference frame, an unknown text).
std::optional<double> MicrometresPer(std::string_view unit);

// A pixel's size or a step in micrometres as files state it; 0, unknown, for what no image of any kind has: less than a
// hundredth of an atom, more than a metre, or no number. Programs write such values where they mean none.
double PlausibleLength(double micrometres) noexcept;

// Seconds in one `unit`; nothing for an unknown one.
std::optional<double> SecondsPer(std::string_view unit);

}  // namespace imageformats
