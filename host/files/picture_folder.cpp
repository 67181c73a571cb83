#include "host/files/picture_folder.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

#include "host/output/json.h"
#include "system/qvfile.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::uintmax_t kMostDescription = 8u << 20;
constexpr int kDeepestDescription = 64;
// More than the largest plates have wells, and converters write series.
constexpr std::size_t kMostPictures = 10000;

// Null for what is no such file, or no JSON.
CJson ReadDescription(const fs::path& path) {
  std::error_code error;
  if (!fs::is_regular_file(path, error) || fs::file_size(path, error) > kMostDescription) return nullptr;
  std::ifstream file(path, std::ios::binary);
  bool isTooDeep = false;
  const auto limit = [&](int depth, CJson::parse_event_t, const CJson&) {
    isTooDeep = isTooDeep || depth > kDeepestDescription;
    return !isTooDeep;
  };
  CJson parsed = CJson::parse(file, limit, false);
  return parsed.is_discarded() || isTooDeep ? CJson(nullptr) : parsed;
}

CJson MemberOf(const CJson& object, const char* name) {
  if (!object.is_object()) return nullptr;
  const auto found = object.find(name);
  return found == object.end() ? CJson(nullptr) : *found;
}

CJson AttributesOf(const fs::path& folder) {
  for (const char* name : kQvPictureDocuments) {
    const CJson description = ReadDescription(folder / name);
    if (description.is_null()) continue;
    return std::string_view(name) == "zarr.json" ? MemberOf(MemberOf(description, "attributes"), "ome") : description;
  }
  return nullptr;
}

// Names and relative paths only: what is written in a file from anybody leads nowhere else.
bool LeadsBelow(const std::string& path) {
  const fs::path relative(path);
  return !path.empty() && relative.is_relative() &&
         std::none_of(relative.begin(), relative.end(), [](const fs::path& part) { return part == ".."; });
}

// The paths of a list of names, or of objects with a path.
std::vector<std::string> PathsIn(const CJson& list) {
  std::vector<std::string> paths;
  if (!list.is_array()) return paths;
  for (const CJson& element : list) {
    const CJson path = element.is_string() ? element : MemberOf(element, "path");
    if (!path.is_string() || !LeadsBelow(path.get<std::string>()) || paths.size() >= kMostPictures) continue;
    paths.push_back(path.get<std::string>());
  }
  return paths;
}

// A converter numbers its series, and lists them where it writes the metadata.
std::vector<std::string> SeriesOf(const fs::path& folder) {
  std::vector<std::string> paths = PathsIn(MemberOf(AttributesOf(folder / "OME"), "series"));
  std::error_code error;
  while (paths.size() < kMostPictures && fs::is_directory(folder / std::to_string(paths.size()), error)) {
    if (!MemberOf(AttributesOf(folder / std::to_string(paths.size())), "multiscales").is_array()) break;
    paths.push_back(std::to_string(paths.size()));
  }
  return paths;
}

std::vector<std::string> Below(const std::string& folder, const std::vector<std::string>& paths) {
  std::vector<std::string> result;
  for (const std::string& path : paths) result.push_back((fs::path(folder) / path).string());
  return result;
}

std::string WithoutSlash(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

std::optional<std::vector<std::string>> PicturesOfFolder(const std::string& path) {
  const std::string folder = WithoutSlash(path);
  const CJson attributes = AttributesOf(folder);
  if (!attributes.is_object()) return std::nullopt;
  if (attributes.contains("multiscales") || attributes.contains("well")) return std::vector<std::string>{folder};
  std::vector<std::string> pictures;
  if (attributes.contains("plate")) {
    for (const SWell& well : ListWells(folder)) pictures.push_back(well.folder);
  } else if (attributes.contains("bioformats2raw.layout")) {
    pictures = Below(folder, SeriesOf(folder));
  } else if (attributes.contains("labels")) {
    pictures = Below(folder, PathsIn(attributes["labels"]));
  } else {
    return std::nullopt;
  }
  return pictures;
}

std::vector<SWell> ListWells(const std::string& plate) {
  std::vector<SWell> wells;
  for (const std::string& path : PathsIn(MemberOf(MemberOf(AttributesOf(plate), "plate"), "wells"))) {
    const std::size_t slash = path.find('/');
    SWell& well = wells.emplace_back();
    well.row = path.substr(0, slash);
    if (slash != std::string::npos) well.column = path.substr(slash + 1);
    well.folder = (fs::path(plate) / path).string();
  }
  return wells;
}

std::string PicturePath(const std::string& path) {
  const std::string_view name = std::string_view(path).substr(path.rfind('/') + 1);
  const bool isDescription = name == ".zgroup" || std::find(kQvPictureDocuments.begin(), kQvPictureDocuments.end(),
                                                            name) != kQvPictureDocuments.end();
  if (!isDescription) return WithoutSlash(path);
  const std::string folder = path.find('/') == path.npos ? "." : fs::path(path).parent_path().string();
  return PicturesOfFolder(folder) ? folder : path;
}

}  // namespace qvhost
