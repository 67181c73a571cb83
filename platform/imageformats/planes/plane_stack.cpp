#include "platform/imageformats/planes/plane_stack.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/planes/plane_choice.h"
#include "platform/imageformats/planes/projection.h"
#include "platform/imageformats/render/label_colors.h"

namespace imageformats {

namespace {

// The range that the author left a picture with is kept while it still shows it: neither mostly black nor mostly
// saturated. `full` is what the values span.
bool ShowsPicture(const SDisplayRange& range, const SDisplayRange& full) noexcept {
  const double span = full.high - full.low, width = range.high - range.low;
  return width >= 0.25 * span && width <= 1.6 * span && range.low >= full.low - 0.6 * span &&
         range.low <= full.low + 0.5 * span && range.high >= full.low + 0.3 * span;
}

// Whether there is nothing to see.
bool AreConstant(const CLayers& layers) {
  return std::all_of(layers.begin(), layers.end(), [](const SAveragedPicture& layer) {
    const std::size_t step = layer.components;
    for (std::size_t i = step; i < layer.samples.size(); ++i) {
      if (Differ(layer.samples[i - step], layer.samples[i])) return false;
    }
    return true;
  });
}

class CStackRenderer {
 public:
  CStackRenderer(const SPlaneStack& stack, IPlaneReader& reader, const SRenderRequest& request, CRenderGuard& guard)
      : m_stack(stack),
        m_reader(reader),
        m_view(request.view),
        m_guard(guard),
        m_reduced(ReducedSize(stack.size, {request.width, request.height}, stack.orientation)),
        m_shown(ShownChannels(stack, request)) {}

  void Render(SQvPicBuf& picture) {
    const std::vector<SPlaneIndex> planes = ChosenPlanes(m_stack, m_view);
    SPlaneIndex plane = planes.front();
    CLayers layers = Read(plane);
    if (planes.size() > 1) {
      layers = Projected(planes, std::move(layers));
    } else if (AreConstant(layers)) {
      LookAround(&plane, &layers);
    }
    if (std::optional<SAveragedPicture> labels = Labels(planes.size() == 1, plane, layers)) {
      return OrientAndFitRgb(ColorLabels(*labels), labels->size, m_stack.orientation, picture);
    }
    if (m_stack.channels.empty()) return DisplayPicture(layers.front(), picture);
    Composite(std::move(layers), picture);
  }

 private:
  // One layer for each shown channel, or the one of a picture. What was reserved for it is given back.
  CLayers Read(const SPlaneIndex& plane) {
    const std::uint64_t before = m_guard.Available();
    CLayers layers;
    if (m_stack.channels.empty()) {
      layers.push_back(m_reader.Average(plane, m_reduced, m_guard));
    } else if (m_stack.labels && m_shown.size() == 1) {
      layers.push_back(Sampled(plane));
    } else {
      layers = m_reader.AverageChannels(plane, m_shown, m_reduced, m_guard);
    }
    for (const SAveragedPicture& layer : layers) {
      if (layer.size != layers.front().size) throw CDamagedError("The channels differ in size");
    }
    if (m_guard.Available() < before) m_guard.Release(before - m_guard.Available());
    return layers;
  }

  SAveragedPicture Sampled(SPlaneIndex plane) {
    if (!m_shown.empty()) plane.channel = m_shown.front();
    return m_reader.Sample(plane, m_reduced, m_guard);
  }

  CLayers Projected(const std::vector<SPlaneIndex>& planes, CLayers first) {
    const bool isMean = m_view.planes == EPlaneChoice::kMean && !m_stack.labels;
    CProjection projection(isMean ? CProjection::EKind::kMean : CProjection::EKind::kMaximum, std::move(first),
                           m_guard);
    for (std::size_t i = 1; i < planes.size(); ++i) projection.Add(Read(planes[i]));
    return projection.Finish();
  }

  // A plane that cannot be read ends the search: what was to be shown is whole.
  void LookAround(SPlaneIndex* plane, CLayers* layers) {
    try {
      for (const SPlaneIndex& other : PlanesAround(m_stack, m_view, *plane)) {
        CLayers found = Read(other);
        if (AreConstant(found)) continue;
        *plane = other;
        *layers = std::move(found);
        return;
      }
    } catch (const CFormatError&) {
    }
  }

  // The samples, where they number things.
  std::optional<SAveragedPicture> Labels(bool isPlane, const SPlaneIndex& plane, const CLayers& layers) {
    const bool isGrey = m_stack.channels.empty() ? m_stack.model == EColorModel::kGrey && !m_stack.inverted
                                                 : m_stack.channels.size() == 1 && !m_stack.channels.front().table;
    if (!isGrey || layers.size() != 1 || layers.front().components != 1) return std::nullopt;
    if (m_stack.labels) return m_stack.channels.empty() ? Sampled(plane) : layers.front();
    if (!isPlane || !MayBeLabels(layers.front())) return std::nullopt;
    SAveragedPicture samples = Sampled(plane);
    return AreLabels(samples) ? std::optional(std::move(samples)) : std::nullopt;
  }

  void DisplayPicture(const SAveragedPicture& averages, SQvPicBuf& picture) const {
    SDisplaySettings show;
    show.model = m_stack.model;
    show.nominal = m_stack.nominal;
    show.stretch = m_stack.stretch;
    show.inverted = m_stack.inverted;
    show.profile = m_stack.profile;
    show.orientation = m_stack.orientation;
    DisplayAverages(averages, show, picture);
  }

  void Composite(CLayers layers, SQvPicBuf& picture) const {
    const SSize size = layers.empty() ? SSize{1, 1} : layers.front().size;
    // An empty channel beside others is no reason to show its noise.
    const bool isDark = layers.size() == 1 && IsNearlyBlack(layers.front().samples, m_stack.nominal);
    std::vector<SDisplayChannel> displayed;
    for (std::size_t i = 0; i < layers.size(); ++i) {
      const SStackChannel& channel = m_stack.channels[m_shown[i]];
      SDisplayChannel& shown = displayed.emplace_back();
      shown.samples = std::move(layers[i].samples);
      shown.range = ChooseRange(channel, m_stack.nominal, m_stack.stretch || isDark, shown.samples);
      shown.table = channel.table;
      shown.color = DisplayColor(m_stack.channels, m_shown[i]);
    }
    if (m_view.stretchTogether) ShareRange(&displayed, m_stack.stretch || isDark);
    OrientAndFitRgb(CompositeChannels(displayed, size), size, m_stack.orientation, picture);
  }

  // What the author chose for each channel does not count: intensities are to be compared.
  void ShareRange(std::vector<SDisplayChannel>* channels, bool stretch) const {
    if (channels->empty()) return;
    std::optional<SDisplayRange> all;
    for (const SDisplayChannel& channel : *channels) {
      const SDisplayRange one = ChooseRange({}, m_stack.nominal, stretch, channel.samples);
      all = all ? SDisplayRange{std::min(all->low, one.low), std::max(all->high, one.high)} : one;
    }
    for (SDisplayChannel& channel : *channels) channel.range = *all;
  }

  const SPlaneStack& m_stack;
  IPlaneReader& m_reader;
  const SViewChoice& m_view;
  CRenderGuard& m_guard;
  const SSize m_reduced;
  const std::vector<std::uint32_t> m_shown;
};

}  // namespace

std::vector<SAveragedPicture> IPlaneReader::AverageChannels(const SPlaneIndex& plane,
                                                            std::span<const std::uint32_t> channels, SSize reduced,
                                                            CRenderGuard& guard) {
  std::vector<SAveragedPicture> averages;
  for (const std::uint32_t channel : channels) {
    SPlaneIndex one = plane;
    one.channel = channel;
    averages.push_back(Average(one, reduced, guard));
  }
  return averages;
}

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
  CStackRenderer(stack, reader, request, guard).Render(picture);
}

}  // namespace imageformats
