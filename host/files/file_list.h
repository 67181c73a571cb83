#pragma once

#include <functional>
#include <string>

namespace qvhost {

// Reads the names of files from a file, or from standard input for "-": one a line, or, when there is a NUL byte in its
// first 64 KiB, each ended by a NUL, as `find -print0` writes them. Names are bytes and taken as they are; empty ones
// are passed over. Only the name at hand is in memory. Throws CHostError when the list cannot be read, or is
// interrupted.
void ReadFileList(const std::string& list, const std::function<void(std::string name)>& take);

}  // namespace qvhost
