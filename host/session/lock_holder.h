#pragma once

#include <string>

namespace qvhost {

// Who keeps others from a database file, as the system tells: "sqlite3 (process 4711)"; "another program" when it does
// not.
std::string DescribeLockHolder(const std::string& databasePath);

}  // namespace qvhost
