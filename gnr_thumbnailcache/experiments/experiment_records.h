#pragma once

#include <cstdint>
#include <vector>

#include "metadata/qvexperiment.h"
#include "metadata/qvpictureplanes.h"

struct sqlite3;

// The operations of IQvThumbnailCache of the same names on the experiments table; arguments and statuses as there. Null
// instead of a connection means that no database is open. Each may throw std::bad_alloc.
std::int32_t WriteExperiment(sqlite3* db, const SQvExperiment* experiment, const SQvPicturePlanes* planes,
                             double acqTime, int storedID, int* experimentID);
std::int32_t ReadExperiment(sqlite3* db, SQvExperiment** experiment, SQvPicturePlanes* planes, double* acqTime,
                            int experimentID);
std::int32_t GetExperimentIDsByStoredID(sqlite3* db, int storedID, std::vector<int>* experimentIDs);
