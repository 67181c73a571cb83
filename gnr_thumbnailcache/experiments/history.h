#pragma once

#include <cstdint>
#include <vector>

#include "system/qvstring.h"

struct sqlite3;

// The operations of IQvThumbnailCache of the same names on the history table; arguments and statuses as there. Null
// instead of a connection means that no database is open. Each may throw std::bad_alloc.
std::int32_t WriteHistory(sqlite3* db, const wchar_t* filename, const wchar_t* userID, double acqTime,
                          int experimentID);
std::int32_t ReadHistory(sqlite3* db, const wchar_t* userID, double acqFrom, double acqTo,
                         std::vector<int>* experimentIDs, std::vector<double>* acqTimes,
                         std::vector<CQvStringW>* filenames);
std::int32_t GetHistoryFilenames(sqlite3* db, const wchar_t* userID, int experimentID, double acqFrom, double acqTo,
                                 std::vector<CQvStringW>* filenames);
// Deletes the experiment's row too, once no history of it is left.
std::int32_t DeleteHistory(sqlite3* db, double acqFrom, double acqTo, int experimentID);
