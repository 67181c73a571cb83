#pragma once

#include <string>

#include "host/find/folding.h"
#include "host/find/known_rows.h"
#include "host/find/search_index.h"

namespace qvhost {

// Brings the index up to date with the rows of its database, all or nothing. Only what has changed is read again;
// nothing is when `stamp`, the database's (database_stamp.h) from before its connection read anything, is the one that
// the index notes. A `quiet` one shows no progress. Throws SQLite::Exception, or CHostError when interrupted.
void UpdateSearchIndex(CSearchIndex& index, const CKnownRows& rows, const CFolding& folding, const std::string& stamp,
                       bool quiet);

}  // namespace qvhost
