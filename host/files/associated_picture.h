#pragma once

#include <string>

#include "picture/qvpicture.h"

namespace qvhost {

// Reads the picture of that name ("label", "macro", in any case) that lies in an image file beside its main one, in
// full size as far as a screen needs it, with an image-format manager of the host's own: no database hears of it.
// Empty, with the reason, when there is none or it cannot be read.
CQvPicture ReadAssociatedPicture(const std::string& path, const std::string& name, std::string* reason);

}  // namespace qvhost
