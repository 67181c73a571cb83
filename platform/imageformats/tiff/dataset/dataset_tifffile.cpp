#include <algorithm>
#include <charconv>
#include <string_view>

#include "platform/imageformats/tiff/dataset/dataset.h"

// The description that tifffile writes: a JSON object whose "shape" is that of the array, rows and columns (and
// samples) last, and whose "axes", when the user told them, name its dimensions by letters.
namespace imageformats::tiff {
namespace {

constexpr std::size_t kMostDimensions = 16;

// What stands behind `"key":`, without blanks before it; empty when the text has no such key.
std::string_view ValueOf(std::string_view json, std::string_view key) {
  std::string quoted(1, '"');
  quoted.append(key).push_back('"');
  const std::size_t found = json.find(quoted);
  if (found == json.npos) return {};
  json.remove_prefix(found + quoted.size());
  const std::size_t value = json.find_first_not_of(" \t\r\n:");
  return value == json.npos ? std::string_view() : json.substr(value);
}

// The numbers of a list; empty when it is none.
std::vector<std::uint32_t> NumbersOf(std::string_view list) {
  std::vector<std::uint32_t> numbers;
  const std::size_t end = list.find(']');
  if (list.empty() || list[0] != '[' || end == list.npos) return {};
  const char* next = list.data() + 1;
  while (numbers.size() < kMostDimensions) {
    next = std::find_if_not(next, list.data() + end, [](char c) { return c == ' ' || c == ','; });
    if (next == list.data() + end) return numbers;
    const auto read = std::from_chars(next, list.data() + end, numbers.emplace_back());
    if (read.ec != std::errc()) return {};
    next = read.ptr;
  }
  return {};
}

struct SDimension {
  char axis = '?';
  std::uint32_t size = 1;
};

// The dimensions that run over pages, the slowest first; nothing when the shape is not that of the pages.
std::vector<SDimension> PageDimensions(const std::string& description, const SDataset& dataset) {
  const std::vector<std::uint32_t> shape = NumbersOf(ValueOf(description, "shape"));
  const std::string_view letters = ValueOf(description, "axes");
  const std::string_view axes =
      letters.starts_with('"') ? letters.substr(1, letters.find('"', 1) - 1) : letters.substr(0, 0);
  std::vector<SDimension> dimensions;
  for (std::size_t i = 0; i < shape.size(); ++i) {
    dimensions.push_back({axes.size() == shape.size() ? axes[i] : '?', shape[i]});
  }
  const SPage& page = dataset.page;
  std::vector<std::uint32_t> last = {page.height, page.width};
  if (page.samples > 1) last.insert(page.planar ? last.begin() : last.end(), page.samples);
  if (dimensions.size() < last.size()) return {};
  const auto leading = dimensions.end() - static_cast<std::ptrdiff_t>(last.size());
  const auto fits = [](const SDimension& dimension, std::uint32_t size) { return dimension.size == size; };
  if (!std::equal(leading, dimensions.end(), last.begin(), fits)) return {};
  dimensions.erase(leading, dimensions.end());
  std::uint64_t planes = 1;
  for (const SDimension& dimension : dimensions) planes = CRenderGuard::Multiply(planes, dimension.size);
  if (planes != dataset.pages.size() || dimensions.empty()) return {};
  return dimensions;
}

// Dimensions that do not say what they are run together along z; of other ones that no view knows the first place is
// shown.
void PlaceDimensions(const std::vector<SDimension>& dimensions, SDataset* dataset) {
  const bool hasZ =
      std::any_of(dimensions.begin(), dimensions.end(), [](const SDimension& d) { return d.axis == 'Z'; });
  SPageOrder order;
  std::uint64_t step = 1;
  dataset->shownZ = 1;
  for (auto dimension = dimensions.rbegin(); dimension != dimensions.rend(); ++dimension) {
    const std::uint32_t size = dimension->size;
    if (dimension->axis == 'T') {
      order.t = step;
      dataset->sizeT = size;
    } else if (dimension->axis == 'C' && dataset->channels.empty()) {
      order.channel = step;
      dataset->sizeC = size;
    } else if (dimension->axis == 'P') {
      order.position = step;
      dataset->positions = size;
    } else if (dimension->axis == 'Z' || (!hasZ && (order.z == 0 || order.z * dataset->shownZ == step))) {
      if (order.z == 0) order.z = step;
      dataset->shownZ *= size;
      if (hasZ) dataset->sizeZ = size;
    }
    step *= size;
  }
  dataset->pageOrder = order;
  dataset->ownZ.reset();
}

}  // namespace

void ApplyTifffileShape(STiffFile& file, const std::string& description, SDataset* dataset) {
  if (!description.starts_with('{') || dataset->pages.size() < 2) return;
  const std::vector<SDimension> dimensions = PageDimensions(description, *dataset);
  if (dimensions.empty()) return;
  SDataset result = *dataset;
  PlaceDimensions(dimensions, &result);
  result.hasPageAxes =
      std::any_of(dimensions.begin(), dimensions.end(), [](const SDimension& d) { return d.axis != '?'; });
  const std::uint64_t middle = result.pageOrder.z * (result.shownZ / 2);
  if (result.pageOrder.channel != 0 && result.sizeC > 1) {
    for (std::uint32_t c = 0; c < std::min(result.sizeC, kMaxOverviewChannels); ++c) {
      SOverviewChannel channel;
      channel.planeNumber = c;
      if (!LocatePage(file, result, middle + c * result.pageOrder.channel, &channel.plane)) return;
      result.channels.push_back(std::move(channel));
    }
  } else {
    result.sizeC = dataset->sizeC;
  }
  if (middle != 0) {
    result.mainPlane = {};
    if (!LocatePage(file, result, middle, &result.mainPlane)) return;
    result.page = ReadDatasetPage(file, result.mainPlane.directory);
    for (SOverviewChannel& channel : result.channels) {
      if (result.pageOrder.channel == 0) channel.plane = result.mainPlane;
    }
  }
  *dataset = std::move(result);
}

}  // namespace imageformats::tiff
