#include "host/shards/shard_settings.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/output/text.h"

namespace qvhost {
namespace {

std::string BoxText(IQvThumbnailCache& service, bool highQuality) {
  std::uint32_t width = 0, height = 0;
  service.GetThumbnailBox(highQuality, &width, &height);
  return fmt::format("{} x {}", width, height);
}

std::string ValueOf(const SShardSettings& settings, const std::string& name) {
  const auto found = settings.values.find(name);
  return found == settings.values.end() ? "unknown" : found->second;
}

}  // namespace

SShardSettings CurrentSettings(IQvThumbnailCache& service, std::vector<std::string> mountPoints) {
  return {{{"standard box", BoxText(service, false)}, {"high-quality box", BoxText(service, true)}},
          std::move(mountPoints)};
}

std::string FindDifference(const SShardSettings& settings, const SShardSettings& wanted) {
  std::map<std::string, std::string> names = settings.values;
  names.insert(wanted.values.begin(), wanted.values.end());
  for (const auto& [name, ignored] : names) {
    const std::string ours = ValueOf(settings, name), theirs = ValueOf(wanted, name);
    if (ours != theirs) return fmt::format("its {} is {} instead of {}", name, Printable(ours), Printable(theirs));
  }
  if (settings.mountPoints.empty() || wanted.mountPoints.empty() || settings.mountPoints == wanted.mountPoints) {
    return {};
  }
  return Printable(fmt::format("its images lay on {} instead of {}", fmt::join(settings.mountPoints, ", "),
                               fmt::join(wanted.mountPoints, ", ")));
}

CJson ToJson(const SShardSettings& settings) {
  CJson values = CJson::object();
  for (const auto& [name, value] : settings.values) values[name] = value;
  return {{"values", values}, {"mountPoints", settings.mountPoints}};
}

SShardSettings SettingsFromJson(const CJson& document) {
  SShardSettings settings;
  if (!document.is_object()) return settings;
  const CJson values = document.value("values", CJson::object());
  for (const auto& [name, value] : values.items()) {
    if (value.is_string()) settings.values[name] = value.get<std::string>();
  }
  for (const CJson& point : document.value("mountPoints", CJson::array())) {
    if (point.is_string()) settings.mountPoints.push_back(point.get<std::string>());
  }
  return settings;
}

}  // namespace qvhost
