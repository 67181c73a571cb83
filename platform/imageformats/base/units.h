#pragma once

#include <optional>
#include <string_view>

// Units as OME-XML (UnitsLength, UnitsTime of the 2015-01 schema and later) and ImageJ calibrations write them, in
// UTF-8. Names compare without regard to ASCII case except where SI tells two units apart by it (Mm, mm). Pure
// functions.
namespace imageformats {

// Micrometres in one `unit`. Nothing for units that are no length (pixel, reference frame, an unknown text).
std::optional<double> MicrometresPer(std::string_view unit);

// Seconds in one `unit`; nothing for an unknown one.
std::optional<double> SecondsPer(std::string_view unit);

}  // namespace imageformats
