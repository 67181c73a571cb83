#pragma once

#include <map>
#include <string>
#include <vector>

#include "host/output/json.h"
#include "thumbnailcache/iqvthumbnailcache.h"

namespace qvhost {

// What the thumbnails of databases must have in common, so that they can stand in one.
struct SShardSettings {
  std::map<std::string, std::string> values;  // by what they are, e.g. "standard box"
  std::vector<std::string> mountPoints;       // of the images, sorted; empty: not known
};

// The settings of thumbnails that the service makes now.
SShardSettings CurrentSettings(IQvThumbnailCache& service, std::vector<std::string> mountPoints);

// "its standard box is 320 x 200 instead of 480 x 180"; empty when there is no difference. Unknown mount points fit
// all.
std::string FindDifference(const SShardSettings& settings, const SShardSettings& wanted);

CJson ToJson(const SShardSettings& settings);
// What is missing or of another kind is left out.
SShardSettings SettingsFromJson(const CJson& document);

}  // namespace qvhost
