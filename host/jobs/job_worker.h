#pragma once

#include <string>
#include <vector>

#include "host/jobs/job_channel.h"
#include "host/session/database_choice.h"
#include "host/thumbnails/thumbnail_maker.h"

namespace qvhost {

// What all processes that make thumbnails together do alike.
struct SJobSettings {
  SDatabaseOptions database;
  SMakeOptions make;
  std::string catalog;  // empty: none
};

// Makes the thumbnails of the files that the other end names by their numbers in the list, and tells of each. The
// database is opened when the first one comes; its tables are there by then. Returns when it was told to end or to
// stop, or when the other end is closed. Never throws; the process must have no other threads.
void RunJobWorker(const CJobChannel& channel, const std::vector<std::string>& files,
                  const SJobSettings& settings) noexcept;

}  // namespace qvhost
