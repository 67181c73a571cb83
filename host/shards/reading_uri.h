#pragma once

#include <optional>
#include <string>

namespace qvhost {

// How a database is opened only to be read: SQLite's URIs of a file, whatever its name holds.

// Whether a log or a journal lies beside the file that its content is not complete without.
bool HasLog(const std::string& path);

// With its log worked in where that may be written, and otherwise as it lies there. Nothing when only a copy can be
// read, because there is a log that may not be worked in.
std::optional<std::string> FindReadingUri(const std::string& path);

// As a file that nobody changes while it is open: without locks.
std::string UnchangingUri(const std::string& path);

}  // namespace qvhost
