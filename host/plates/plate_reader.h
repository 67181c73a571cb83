#pragma once

#include <optional>
#include <string>

#include "host/plates/plate.h"
#include "imageformats/iqvplate.h"
#include "system/qvref.h"

namespace qvhost {

// An image file's plate, opened with an image-format manager of the host's own; one thread at a time. Empty when the
// file cannot be read or belongs to no plate.
CQvRef<IQvPlate> OpenPlate(const std::string& path);

// The plate that a file says it belongs to. Files of wells are looked for beside it only.
std::optional<SPlateLayout> ReadPlate(const std::string& path);

}  // namespace qvhost
