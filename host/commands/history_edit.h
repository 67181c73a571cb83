#pragma once

#include <string>
#include <vector>

#include "host/commands/command.h"

namespace qvhost {

// "history assign"
void AddHistoryAssignCommand(CCommand parent, SOutcome& outcome);

// Deletes the records of these files, each with its experiment when no other record refers to it, and tells how many;
// with `dryRun` only that.
void DeleteRecordsOfFiles(const SDatabaseOptions& database, const std::vector<std::string>& files, bool dryRun,
                          bool json, SOutcome& outcome);

}  // namespace qvhost
