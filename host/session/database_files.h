#pragma once

#include <sys/types.h>

#include "host/session/database_choice.h"

namespace qvhost {

// The rights of the database files that the program keeps by itself: the user's own is for the user alone, the one of
// all users for the group of its folder. A file that was named with --db has the rights that its user gives it.

// Creates the missing folder and the empty file, with their rights whatever the umask. Throws CHostError.
void CreateDatabaseFiles(const SDatabaseChoice& choice);

// Takes away what others may do with an existing one, and says so on standard error. Throws CHostError when a link
// stands in the place of its folder or of one of its files: what it leads to is somebody else's.
void SecureDatabaseFiles(const SDatabaseChoice& choice);

}  // namespace qvhost
