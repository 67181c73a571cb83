#pragma once

#include <memory>
#include <string>

#include "host/files/file_jobs.h"
#include "host/session/session.h"
#include "host/shards/catalog.h"

namespace qvhost {

// Lets the jobs take what the session's database lacks from the catalogue, which the caller keeps as long as the jobs.
// Null when none is named. Throws CHostError.
std::unique_ptr<CCatalog> OpenCatalogFor(CFileJobs& jobs, CSession& session, const std::string& catalog);

}  // namespace qvhost
