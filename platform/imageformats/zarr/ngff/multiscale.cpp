#include "platform/imageformats/zarr/ngff/multiscale.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/zarr/ngff/axes.h"

namespace imageformats::zarr {

namespace {

constexpr std::size_t kMostLevels = 64;

SOmeroChannel ReadChannel(const CJson& described) {
  SOmeroChannel channel;
  channel.label = TextIn(Member(described, "label"));
  const std::string color = TextIn(Member(described, "color"));
  if (color.size() >= 6 && color.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
    channel.color = static_cast<std::uint32_t>(std::strtoul(color.substr(0, 6).c_str(), nullptr, 16));
  }
  const CJson* window = Member(described, "window");
  const auto low = NumberIn(Member(window, "start")), high = NumberIn(Member(window, "end"));
  if (low && high && *low < *high) channel.window = SDisplayRange{*low, *high};
  const CJson* active = Member(described, "active");
  channel.isActive = active == nullptr || !active->is_boolean() || active->get<bool>();
  return channel;
}

// Zarr 3 before Zarr 2, as a group that has both.
SArrayLayout ReadLayout(IStore& store, const std::string& key, CRenderGuard& guard) {
  if (const auto text = ReadText(store, JoinedKey(key, "zarr.json"), kMostJsonBytes, guard)) {
    const CJson description = ParseJson(*text);
    Require(TextIn(Member(description, "node_type")) == "array", "A level of the picture is no array");
    return LayoutOfVersion3(description);
  }
  const auto text = ReadText(store, JoinedKey(key, ".zarray"), kMostJsonBytes, guard);
  Require(text.has_value(), "A level of the picture is missing");
  return LayoutOfVersion2(ParseJson(*text));
}

// Names from the picture's folder, by a file that may come from anybody.
void CheckPath(const std::string& path) {
  const std::string inside = "/" + path + "/";
  Require(path.size() <= 1024 && inside.find("//") == std::string::npos && inside.find("/./") == std::string::npos &&
              inside.find("/../") == std::string::npos,
          "The picture's description leads to no place in it");
}

// 0.2 and 0.3 have nested chunks even where the arrays do not say so.
void CompleteSeparator(const std::string& version, SArrayLayout& layout) {
  if (!layout.isSeparatorKnown && (version == "0.2" || version == "0.3")) layout.separator = '/';
}

}  // namespace

std::optional<std::size_t> SMultiscale::Axis(EAxis kind) const noexcept {
  const auto found = std::find_if(axes.begin(), axes.end(), [=](const SAxis& axis) { return axis.kind == kind; });
  if (found == axes.end()) return std::nullopt;
  return static_cast<std::size_t>(found - axes.begin());
}

std::uint32_t SMultiscale::Size(const SLevel& level, EAxis kind) const noexcept {
  const auto axis = Axis(kind);
  return axis ? static_cast<std::uint32_t>(level.layout.shape[*axis]) : 1;
}

CJson ReadAttributes(IStore& store, const std::string& key, CRenderGuard& guard) {
  if (const auto text = ReadText(store, JoinedKey(key, "zarr.json"), kMostJsonBytes, guard)) {
    const CJson description = ParseJson(*text);
    const CJson* attributes = Member(description, "attributes");
    const CJson* ome = Member(attributes, "ome");
    if (ome != nullptr) return *ome;
    return attributes != nullptr ? *attributes : CJson::object();
  }
  const auto text = ReadText(store, JoinedKey(key, ".zattrs"), kMostJsonBytes, guard);
  return text ? ParseJson(*text) : CJson();
}

SMultiscale ReadMultiscale(IStore& store, const std::string& key, const CJson& attributes, CRenderGuard& guard) {
  const std::vector<CJson>& multiscales = Elements(Member(attributes, "multiscales"));
  Require(!multiscales.empty(), "The folder holds no picture");
  const CJson& described = multiscales.front();
  SMultiscale picture;
  picture.name = TextIn(Member(described, "name"));
  picture.version = TextIn(Member(described, "version"));
  if (picture.version.empty()) picture.version = TextIn(Member(attributes, "version"));
  picture.isLabels = Member(attributes, "image-label") != nullptr;
  const std::vector<CJson>& datasets = Elements(Member(described, "datasets"));
  Require(!datasets.empty() && datasets.size() <= kMostLevels, "The picture has no levels");
  for (const CJson& dataset : datasets) {
    const std::string path = TextIn(Member(dataset, "path"));
    CheckPath(path);
    SLevel level{JoinedKey(key, path), ReadLayout(store, JoinedKey(key, path), guard)};
    CompleteSeparator(picture.version, level.layout);
    const bool isFirst = picture.levels.empty();
    Require(isFirst || level.layout.shape.size() == picture.levels.front().layout.shape.size(),
            "The picture's levels have different axes");
    picture.levels.push_back(std::move(level));
  }
  picture.axes = ReadAxes(described, picture.levels.front().layout.shape.size());
  ApplyScales(Member(datasets.front(), "coordinateTransformations"), picture.axes);
  ApplyScales(Member(described, "coordinateTransformations"), picture.axes);
  for (const CJson& channel : Elements(Member(Member(attributes, "omero"), "channels"))) {
    if (picture.channels.size() < kMostChannels) picture.channels.push_back(ReadChannel(channel));
  }
  return picture;
}

}  // namespace imageformats::zarr
