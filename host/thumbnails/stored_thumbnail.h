#pragma once

#include <string>

#include "host/session/database_choice.h"

namespace qvhost {

// The JPEG stream of a file's stored thumbnail, the larger one when the database holds two, while the file is
// unchanged; with `highQuality` only one that was made carefully. Empty when there is none, or no database, or one that
// cannot be read as it lies, for whatever reason: it is a short cut only. Nothing is written.
std::string ReadStoredThumbnail(const std::string& path, bool highQuality, const SDatabaseOptions& options);

}  // namespace qvhost
