#pragma once

#include <string>

namespace qvhost {

// The database that the command works on: what SQLite and the service say of an error does not name it. Main thread.
void SetDatabaseInUse(const std::string& path);
// The same for an image library, which 'qvthumbs verify' knows nothing of.
void SetLibraryInUse(const std::string& path);

// What an error of the database in use means and what to do, for people; `said` as SQLite or the service said it.
std::string ExplainDatabaseError(const std::string& said);

// The same for damage that was looked for and found.
std::string ExplainDamage(const std::string& found);

// Whether the error will meet every other statement as well: a full disk, a damaged file.
bool IsLastingError(const std::string& said);

}  // namespace qvhost
