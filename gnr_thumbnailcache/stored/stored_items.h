#pragma once

#include <cstdint>
#include <vector>

#include "system/qvstring.h"
#include "thumbnailcache/iqvthumbnailcache.h"

struct sqlite3;

// The operations of IQvThumbnailCache of the same names on the stored table; arguments and statuses as there. Null
// instead of a connection means that no database is open. Each may throw std::bad_alloc.
std::int32_t InsertStoredItem(sqlite3* db, int parentID, const wchar_t* filename, int flags, int* newStoredID);
std::int32_t UpdateStoredItem(sqlite3* db, int storedID, int parentID, const wchar_t* filename, int flags);
std::int32_t GetStoredChildren(sqlite3* db, int parentID, std::vector<int>* ids, std::vector<CQvStringW>* filenames);
// Children go before their parent, each through the interface of the service, and no statement is open meanwhile. Links
// in a circle are followed once.
std::int32_t DeleteStoredItem(sqlite3* db, IQvThumbnailCache& service, int storedID);
