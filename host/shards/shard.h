#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "host/shards/mount_points.h"

namespace qvhost {

// One of several equal parts of the work on a list of files, each done by a process of its own.
struct SShard {
  int number = 1;  // from 1
  int count = 1;

  bool IsWhole() const noexcept { return count == 1; }
};

// "3/8". Throws CHostError for another text.
SShard ParseShard(const std::string& text);

// The file of a shard beside the one that they will be merged into: /data/lab.db gives /data/lab.3-of-8.db. Numbers are
// filled up with zeros, so that a pattern lists them in order.
std::string ShardDatabasePath(const std::string& path, const SShard& shard);

// Chooses the files of a shard from those of all shards, which are offered one after the other. A file belongs to the
// shard that the hash of its folder says, so that files that are read together stay together; in a folder of more than
// kMaxFolder files to the one that the hash of its own name says. The hashes are of lower-case absolute names, so files
// that the database keeps in one row go to one shard. Every process that is offered the same names chooses alike. Only
// what may belong to the shard is kept in memory. A file that is offered twice is taken once.
class CShardFiles {
 public:
  static constexpr std::int64_t kMaxFolder = 10000;

  explicit CShardFiles(const SShard& shard) : m_shard(shard) {}

  void Offer(std::string path);
  // How many were offered.
  std::int64_t Offered() const noexcept { return m_offered; }
  // Where the file systems of all files that were offered are mounted.
  std::vector<std::string> MountPoints() const { return {m_mountPoints.begin(), m_mountPoints.end()}; }
  // The shard's files, in the order in which they were offered. Once.
  std::vector<std::string> Take();

 private:
  struct SCandidate {
    std::string path;
    std::uint64_t folder = 0;
    bool isOfFolder = false, isOfName = false;
  };
  bool IsOurs(std::uint64_t hash) const noexcept;
  void EnterFolder(const std::string& folder);

  const SShard m_shard;
  std::int64_t m_offered = 0;
  std::string m_folder;  // of the file before
  std::uint64_t m_folderHash = 0;
  std::unordered_map<std::uint64_t, std::int64_t> m_folderSizes;
  std::unordered_set<std::uint64_t> m_taken;
  std::vector<SCandidate> m_candidates;
  const CMountPoints m_mounts;
  std::set<std::string> m_mountPoints;
};

}  // namespace qvhost
