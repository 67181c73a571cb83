#pragma once

#include <string>

#include "host/output/json.h"
#include "host/session/session.h"

namespace qvpython {

// What a file says about itself, as `qvthumbs info --json` prints it. `path` is absolute. Throws CFileError.
qvhost::CJson ReadInfo(qvhost::CSession& session, const std::string& path);

// The stored thumbnail as a JPEG stream; empty when the database has none of the unchanged file. Throws CFileError when
// the file cannot be opened.
std::string ReadStoredJpeg(qvhost::CSession& session, const std::string& path, bool highQuality);

}  // namespace qvpython
