#include "host/session/image_view.h"

#include <fmt/format.h>

#include <charconv>
#include <optional>
#include <string_view>

#include "host/host_error.h"
#include "system/qvref.h"
#include "system/qvstatus.h"

namespace qvhost {
namespace {

constexpr std::uint32_t kMostNumber = 1'000'000'000;
constexpr std::uint32_t kMostChannel = 32;

std::optional<std::uint32_t> NumberOf(std::string_view text, std::uint32_t most) {
  std::uint32_t number = 0;
  const auto read = std::from_chars(text.data(), text.data() + text.size(), number);
  if (read.ec != std::errc() || read.ptr != text.data() + text.size() || number < 1 || number > most) return {};
  return number;
}

void ChoosePlanes(const std::string& text, SQvImageView* view) {
  if (text.empty() || text == "middle") return;
  view->planes = text == "first"  ? kQvPlaneFirst
                 : text == "last" ? kQvPlaneLast
                 : text == "max"  ? kQvPlaneMaximum
                 : text == "mean" ? kQvPlaneMean
                                  : kQvPlaneGiven;
  if (view->planes != kQvPlaneGiven) return;
  const std::optional<std::uint32_t> number = NumberOf(text, kMostNumber);
  if (!number) {
    throw CHostError(fmt::format("--planes '{}' is no choice; give middle, first, last, max, mean or a number", text));
  }
  view->z = *number - 1;
}

std::uint32_t ChannelMask(std::string_view text) {
  if (text.empty()) return SQvImageView().channels;
  std::uint32_t mask = 0;
  for (std::string_view left = text;;) {
    const std::size_t comma = left.find(',');
    const std::optional<std::uint32_t> number = NumberOf(left.substr(0, comma), kMostChannel);
    if (!number) {
      throw CHostError(fmt::format("--channels '{}' is no list of channels; give numbers from 1 to {}, e.g. 1,3", text,
                                   kMostChannel));
    }
    mask |= 1u << (*number - 1);
    if (comma == left.npos) return mask;
    left.remove_prefix(comma + 1);
  }
}

std::string PlanesName(const SQvImageView& view) {
  switch (view.planes) {
    case kQvPlaneFirst:
      return "first";
    case kQvPlaneLast:
      return "last";
    case kQvPlaneMaximum:
      return "max";
    case kQvPlaneMean:
      return "mean";
    case kQvPlaneGiven:
      return fmt::format("z{}", view.z + 1);
    default:
      return {};
  }
}

std::string ChannelsName(std::uint32_t mask) {
  if (mask == SQvImageView().channels) return {};
  std::string name;
  for (std::uint32_t i = 0; i < kMostChannel; ++i) {
    if (mask >> i & 1) name += fmt::format("{}{}", name.empty() ? "c" : "+", i + 1);
  }
  return name;
}

}  // namespace

SQvImageView ViewOf(const SViewOptions& options) {
  SQvImageView view;
  ChoosePlanes(options.planes, &view);
  if (options.time > 0) view.t = static_cast<std::uint32_t>(options.time) - 1;
  if (options.position > 0) view.position = static_cast<std::uint32_t>(options.position) - 1;
  view.channels = ChannelMask(options.channels);
  view.stretchTogether = options.stretchTogether;
  return view;
}

std::string ViewName(const SQvImageView& view) {
  std::string name;
  const auto add = [&name](const std::string& part) {
    if (!part.empty()) name += (name.empty() ? "" : "-") + part;
  };
  add(PlanesName(view));
  if (view.t != 0) add(fmt::format("t{}", view.t + 1));
  if (view.position != kQvOwnPosition) add(fmt::format("p{}", view.position + 1));
  add(ChannelsName(view.channels));
  if (view.stretchTogether) add("together");
  return name;
}

void SetProcessView(const SQvImageView& view) {
  const auto settings = QvCreate<IQvImageViewSettings>("CQvImageViewSettingsImpl", "IQvImageViewSettings",
                                                       SQvFileLine(__FILE__, __LINE__));
  if (settings && settings->SetView(view) == kQvOk) return;
  if (ViewName(view).empty()) return;  // older image formats show the default anyway
  throw CHostError("the image formats that were found cannot choose planes; install the program again");
}

}  // namespace qvhost
