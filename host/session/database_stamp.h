#pragma once

#include <array>
#include <string>

namespace qvhost {

// What stands behind the path of a database in the names of the files that hold what it holds.
constexpr std::array<const char*, 3> kDatabaseTails = {"", "-wal", "-journal"};

// Whether a database has changed shows in the sizes and times of its file, its log and its journal: two equal texts
// mean that nobody has written to it in between, apart from the last tenth of a second.
std::string StampOfDatabase(const std::string& path);

// Whether it was written to so lately that a later writing may leave the same stamp.
bool IsStampFresh(const std::string& path);

}  // namespace qvhost
