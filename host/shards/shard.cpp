#include "host/shards/shard.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <filesystem>

#include "host/files/image_file.h"
#include "host/host_error.h"
#include "host/output/text.h"
#include "host/shards/content_hash.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

std::uint64_t HashOfName(const std::string& path) {
  return CContentHash().Add(CQvStringUtils::WtoUTF8(LowerCaseLocation(path)).Str()).Value();
}

}  // namespace

SShard ParseShard(const std::string& text) {
  SShard shard;
  const char* const end = text.data() + text.size();
  const auto number = std::from_chars(text.data(), end, shard.number);
  if (number.ec == std::errc() && number.ptr != end && *number.ptr == '/') {
    const auto count = std::from_chars(number.ptr + 1, end, shard.count);
    if (count.ec == std::errc() && count.ptr == end && shard.number >= 1 && shard.number <= shard.count) return shard;
  }
  throw CHostError(
      fmt::format("--shard '{}' is no part of a whole; write it like 3/8, from 1/8 to 8/8", Printable(text)));
}

std::string ShardDatabasePath(const std::string& path, const SShard& shard) {
  const fs::path whole = path;
  const std::size_t digits = std::to_string(shard.count).size();
  const std::string name = fmt::format("{}.{:0{}}-of-{}{}", whole.stem().string(), shard.number, digits, shard.count,
                                       whole.extension().string());
  return (whole.parent_path() / name).string();
}

bool CShardFiles::IsOurs(std::uint64_t hash) const noexcept {
  return hash % static_cast<std::uint64_t>(m_shard.count) == static_cast<std::uint64_t>(m_shard.number - 1);
}

void CShardFiles::EnterFolder(const std::string& folder) {
  m_folder = folder;
  m_folderHash = HashOfName(folder);
  m_mountPoints.insert(m_mounts.Of(folder));
}

void CShardFiles::Offer(std::string path) {
  ++m_offered;
  const std::string absolute = AbsolutePath(path);
  const std::string folder = absolute.substr(0, std::max<std::size_t>(absolute.rfind('/'), 1));
  if (folder != m_folder) EnterFolder(folder);
  ++m_folderSizes[m_folderHash];
  // Of the whole every name is ours.
  const std::uint64_t name = m_shard.IsWhole() ? 0 : HashOfName(absolute);
  const bool isOfFolder = IsOurs(m_folderHash), isOfName = IsOurs(name);
  if (isOfFolder || isOfName) m_candidates.push_back({std::move(path), m_folderHash, isOfFolder, isOfName});
}

std::vector<std::string> CShardFiles::Take() {
  std::vector<std::string> files;
  for (SCandidate& candidate : m_candidates) {
    const bool isLarge = m_folderSizes[candidate.folder] > kMaxFolder;
    if (!(isLarge ? candidate.isOfName : candidate.isOfFolder)) continue;
    const std::uint64_t name = CContentHash().Add(AbsolutePath(candidate.path)).Value();
    if (m_taken.insert(name).second) files.push_back(std::move(candidate.path));
  }
  m_candidates = {};
  return files;
}

}  // namespace qvhost
