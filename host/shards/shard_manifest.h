#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/output/json.h"
#include "host/shards/shard.h"
#include "host/shards/shard_settings.h"

namespace qvhost {

// What a shard was asked for and what became of it, in a file beside its database. It is there from the beginning of
// the work, so that what a killed process left behind can be told from a whole shard.
struct SShardManifest {
  SShard shard;
  CJson asked;  // the command's paths and options
  std::int64_t filesOfAllShards = 0, files = 0;
  std::int64_t made = 0, alreadyCached = 0;
  std::vector<std::pair<std::string, std::string>> failures;  // a file, and why
  SShardSettings settings;
  std::string versions;             // of the program and its libraries, a line each
  bool isComplete = false;          // every file was tried
  double begun = 0.0, ended = 0.0;  // Julian day numbers
};

std::string ManifestPath(const std::string& database);

// Puts the new one in the place of an old one in one step. Throws CHostError.
void WriteManifest(const std::string& database, const SShardManifest& manifest);

// What a merge wants to know of a shard.
struct SShardState {
  SShardSettings settings;
  bool isComplete = false;
};
// Nothing when there is no manifest. Throws CHostError for one that cannot be read.
std::optional<SShardState> ReadManifest(const std::string& database);

}  // namespace qvhost
