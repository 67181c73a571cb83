#pragma once

#include <string_view>

#include "host/rescue/table_shape.h"

namespace qvhost {

// Whether what a row holds is whole, as far as it can tell: a picture by the marks of its stream, an experiment by its
// hash. `row` as FitRow makes it.
bool IsSoundRow(ETable table, const CRecord& row);

// Whether a JPEG stream goes from its first to its last mark without a break. What is coded between them is not looked
// at.
bool IsWholeJpeg(std::string_view stream);

}  // namespace qvhost
