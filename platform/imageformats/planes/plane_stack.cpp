#include "platform/imageformats/planes/plane_stack.h"

#include <algorithm>
#include <utility>

namespace imageformats {

namespace {

// The range that the author left a picture with is kept while it still shows it: neither mostly black nor mostly
// saturated. `full` is what the values span.
bool ShowsPicture(const SDisplayRange& range, const SDisplayRange& full) noexcept {
  const double span = full.high - full.low, width = range.high - range.low;
  return width >= 0.25 * span && width <= 1.6 * span && range.low >= full.low - 0.6 * span &&
         range.low <= full.low + 0.5 * span && range.high >= full.low + 0.3 * span;
}

std::uint32_t ChosenZ(const SPlaneStack& stack, const SViewChoice& view) noexcept {
  switch (view.planes) {
    case EPlaneChoice::kFirst:
      return 0;
    case EPlaneChoice::kLast:
      return stack.sizeZ - 1;
    case EPlaneChoice::kGiven:
      return std::min(view.z, stack.sizeZ - 1);
    default:
      return stack.sizeZ / 2;
  }
}

bool IsWanted(std::size_t channel, const SRenderRequest& request) noexcept {
  return channel >= 32 || ((request.channels & request.view.channels) >> channel & 1) != 0;
}

}  // namespace

std::uint32_t DisplayColor(const std::vector<SStackChannel>& channels, std::size_t index) {
  if (channels[index].color) return *channels[index].color;
  const auto known = [&](const SStackChannel& channel) {
    const std::uint32_t color = WavelengthColor(channel.emission);
    const auto same = [&](const SStackChannel& other) { return WavelengthColor(other.emission) == color; };
    return color != 0 && std::count_if(channels.begin(), channels.end(), same) == 1;
  };
  const bool byLight = channels.size() > 1 && std::all_of(channels.begin(), channels.end(), known);
  return byLight ? WavelengthColor(channels[index].emission) : DefaultChannelColor(index, channels.size());
}

SDisplayRange ChooseRange(const SStackChannel& channel, const SDisplayRange& nominal, bool stretch,
                          const std::vector<float>& samples) {
  const SDisplayRange full = PercentileRange(samples, 0, 1, nominal);
  if (channel.range && ShowsPicture(*channel.range, full)) return *channel.range;
  return stretch ? full : nominal;
}

void RenderPlanes(const SPlaneStack& stack, IPlaneReader& reader, const SRenderRequest& request, SQvPicBuf& picture,
                  CRenderGuard& guard) {
  const SSize reduced = ReducedSize(stack.size, {request.width, request.height}, stack.orientation);
  SPlaneIndex plane;
  plane.z = ChosenZ(stack, request.view);
  plane.t = std::min(request.view.t, stack.sizeT - 1);
  plane.position = std::min(request.view.position, stack.positions - 1);
  if (stack.channels.empty()) {
    SDisplaySettings show;
    show.nominal = stack.nominal;
    show.stretch = stack.stretch;
    show.orientation = stack.orientation;
    return DisplayAverages(reader.Average(plane, reduced, guard), show, picture);
  }
  std::vector<SDisplayChannel> displayed;
  for (std::size_t i = 0; i < stack.channels.size(); ++i) {
    if (!IsWanted(i, request)) continue;
    plane.channel = static_cast<std::uint32_t>(i);
    SDisplayChannel channel;
    channel.samples = reader.Average(plane, reduced, guard).samples;
    channel.range = ChooseRange(stack.channels[i], stack.nominal, stack.stretch, channel.samples);
    channel.table = stack.channels[i].table;
    channel.color = DisplayColor(stack.channels, i);
    displayed.push_back(std::move(channel));
  }
  OrientAndFitRgb(CompositeChannels(displayed, reduced), reduced, stack.orientation, picture);
}

}  // namespace imageformats
