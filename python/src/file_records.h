#pragma once

#include <cstdint>
#include <string>

#include "host/output/json.h"
#include "host/session/session.h"

namespace qvpython {

// What a file says about itself, as `qvthumbs info --json` prints it. `path` is absolute. Throws CFileError.
qvhost::CJson ReadInfo(qvhost::CSession& session, const std::string& path);

// The stored thumbnail as a JPEG stream; empty when the database has none of the unchanged file. Throws CFileError when
// the file cannot be opened, or SQLite::Exception.
std::string ReadStoredJpeg(qvhost::CSession& session, const std::string& path, bool highQuality);

// An 8-bit RGB picture without gaps between its rows, as the cache encodes its own.
std::string EncodeAsStored(const std::uint8_t* pixels, std::uint32_t width, std::uint32_t height);

}  // namespace qvpython
