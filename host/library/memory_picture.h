#pragma once

#include <string>

#include "imageformats/iqvimageformatmanager.h"

namespace qvhost {

// Opens an encoded image file that lies in memory, whatever its format. The source owns the bytes and is independent of
// everything else. 0; -3 when a format needs a file; -9 when no format knows it, with `reason` (which may be null)
// filled. Any thread.
std::int32_t OpenMemoryPicture(std::string bytes, IQvPictureSource** source, std::string* reason);

}  // namespace qvhost
