#include "host/shards/shard_manifest.h"

#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/host_error.h"
#include "host/output/output_file.h"
#include "host/output/text.h"

namespace qvhost {
namespace {

constexpr const char* kManifestKind = "qvthumbs shard";
// Of a document as it is printed.
constexpr std::string_view kManifestHead = "{\n  \"kind\": \"qvthumbs shard\"";

bool IsManifest(std::string_view head) { return head.starts_with(kManifestHead); }

CJson Lines(const std::string& lines) {
  CJson versions = CJson::array();
  std::istringstream text(lines);
  for (std::string line; std::getline(text, line);) versions.push_back(line);
  return versions;
}

CJson Failures(const SShardManifest& manifest) {
  CJson failures = CJson::array();
  for (const auto& [name, reason] : manifest.failures) failures.push_back({{"file", name}, {"reason", reason}});
  return failures;
}

}  // namespace

std::string ManifestPath(const std::string& database) { return database + ".manifest.json"; }

void WriteManifest(const std::string& database, const SShardManifest& manifest) {
  const CJson document = {{"kind", kManifestKind},
                          {"complete", manifest.isComplete},
                          {"shard", {{"number", manifest.shard.number}, {"count", manifest.shard.count}}},
                          {"database", std::filesystem::path(database).filename().string()},
                          {"asked", manifest.asked},
                          {"filesOfAllShards", manifest.filesOfAllShards},
                          {"files", manifest.files},
                          {"made", manifest.made},
                          {"alreadyCached", manifest.alreadyCached},
                          {"failed", manifest.failures.size()},
                          {"failures", Failures(manifest)},
                          {"begun", JsonTime(manifest.begun)},
                          {"ended", JsonTime(manifest.ended)},
                          {"settings", ToJson(manifest.settings)},
                          {"versions", Lines(manifest.versions)}};
  COutputFile file(COutputTarget(ManifestPath(database), &IsManifest));
  file.Write(FormatJson(document) + "\n");
  file.Commit();
}

std::optional<SShardState> ReadManifest(const std::string& database) {
  const std::string path = ManifestPath(database);
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return std::nullopt;
  std::ifstream file(path, std::ios::binary);
  const CJson document = CJson::parse(file, nullptr, false);
  if (!document.is_object() || document.value("kind", CJson()) != kManifestKind) {
    throw CHostError(fmt::format("{} cannot be read, or is no manifest of a shard", Printable(path)));
  }
  const CJson complete = document.value("complete", CJson());
  return SShardState{SettingsFromJson(document.value("settings", CJson())), complete == true};
}

}  // namespace qvhost
