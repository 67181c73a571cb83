#include "platform/imageformats/tiff/render_overview.h"

#include <algorithm>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/render/channel_composite.h"
#include "platform/imageformats/render/display.h"
#include "platform/imageformats/tiff/directory/pyramid.h"
#include "platform/imageformats/tiff/rows/reduce_page.h"

namespace imageformats::tiff {
namespace {

// Reduces the plane from the smallest of its levels that has the wanted pixels.
SReducedPage ReducePlane(STiffFile& file, SDataset::EKind kind, const SPlane& plane, const SPage& page,
                         SReduceRequest request, CRenderGuard& guard) {
  std::vector<SIfdSummary> levels = plane.levels;
  const std::vector<SIfdSummary> below = SubIfdLevels(*file.input, page);
  levels.insert(levels.end(), below.begin(), below.end());
  const SSize wanted = ReducedSize(page.Size(), request.displayed, page.orientation);
  const std::uint64_t level = ChooseLevel(page, levels, wanted);
  request.orientation = page.orientation;
  request.dataOffset = plane.dataOffset;
  if (level == page.offset) return ReducePage(file.handle, page, request, guard);
  return ReducePage(file.handle, ReadDatasetPage(file, kind, level), request, guard);
}

void RenderPicture(CFileSet& files, const SDataset& dataset, const SReduceRequest& request, SQvPicBuf& picture,
                   CRenderGuard& guard) {
  const SPage& page = dataset.page;
  STiffFile& file = files.File(dataset.mainPlane.file);
  const SReducedPage reduced = ReducePlane(file, dataset.kind, dataset.mainPlane, page, request, guard);
  SDisplaySettings show;
  show.model = reduced.pixelFormat.model;
  show.nominal = reduced.pixelFormat.nominal;
  show.stretch = reduced.pixelFormat.stretch;
  show.inverted = reduced.pixelFormat.inverted;
  show.profile = page.profile;
  show.orientation = page.orientation;
  DisplayAverages(reduced.averages, show, picture);
}

// The range that the author left a picture with is kept while it still shows it: neither mostly black nor mostly
// saturated. `full` is what the values span.
bool ShowsPicture(const SDisplayRange& range, const SDisplayRange& full) noexcept {
  const double span = full.high - full.low, width = range.high - range.low;
  return width >= 0.25 * span && width <= 1.6 * span && range.low >= full.low - 0.6 * span &&
         range.low <= full.low + 0.5 * span && range.high >= full.low + 0.3 * span;
}

SDisplayRange ChooseRange(const SOverviewChannel& channel, const SPixelFormat& pixelFormat,
                          const std::vector<float>& samples) {
  const SDisplayRange full = PercentileRange(samples, 0, 1, pixelFormat.nominal);
  if (channel.range && ShowsPicture(*channel.range, full)) return *channel.range;
  return pixelFormat.stretch ? full : pixelFormat.nominal;
}

bool SamePlane(const SPlane& a, const SPlane& b) noexcept {
  return a.file == b.file && a.directory == b.directory && a.dataOffset == b.dataOffset;
}

bool IsWanted(std::size_t channel, std::uint32_t mask) noexcept {
  return channel >= kMaxOverviewChannels || (mask >> channel & 1) != 0;
}

// The wanted channels, those of one plane decoded together.
class CChannelRenderer {
 public:
  CChannelRenderer(CFileSet& files, const SDataset& dataset, const SReduceRequest& request, CRenderGuard& guard)
      : m_files(files), m_dataset(dataset), m_request(request), m_guard(guard) {}

  void Render(std::uint32_t mask, SQvPicBuf& picture) {
    const std::vector<SOverviewChannel>& channels = m_dataset.channels;
    for (std::size_t first = 0; first < channels.size();) {
      std::vector<std::size_t> group;
      std::size_t next = first;
      for (; next < channels.size() && SamePlane(channels[next].plane, channels[first].plane); ++next) {
        if (IsWanted(next, mask)) group.push_back(next);
      }
      if (!group.empty()) AddGroup(group);
      first = next;
    }
    if (m_displayed.empty()) m_size = {1, 1};
    OrientAndFitRgb(CompositeChannels(m_displayed, m_size), m_size, m_dataset.page.orientation, picture);
  }

 private:
  void AddGroup(const std::vector<std::size_t>& group) {
    const SPlane& plane = m_dataset.channels[group.front()].plane;
    STiffFile& file = m_files.File(plane.file);
    SReduceRequest request = m_request;
    for (const std::size_t index : group) request.channels.push_back(m_dataset.channels[index].sample);
    SPage page = ReadDatasetPage(file, m_dataset.kind, plane.directory);
    page.orientation = m_dataset.page.orientation;
    const SReducedPage reduced = ReducePlane(file, m_dataset.kind, plane, page, request, m_guard);
    if (!m_displayed.empty() && reduced.averages.size != m_size) throw CDamagedError("The channels differ in size");
    m_size = reduced.averages.size;
    for (std::size_t k = 0; k < group.size(); ++k) AddChannel(group[k], reduced, k);
  }

  void AddChannel(std::size_t index, const SReducedPage& reduced, std::size_t component) {
    const SOverviewChannel& channel = m_dataset.channels[index];
    const std::size_t step = reduced.averages.components;
    SDisplayChannel displayed;
    displayed.samples.reserve(reduced.averages.samples.size() / step);
    for (std::size_t i = component; i < reduced.averages.samples.size(); i += step) {
      const float value = reduced.averages.samples[i];
      displayed.samples.push_back(
          reduced.pixelFormat.inverted ? static_cast<float>(reduced.pixelFormat.nominal.high) - value : value);
    }
    displayed.range = ChooseRange(channel, reduced.pixelFormat, displayed.samples);
    displayed.table = channel.table;
    displayed.color = DisplayColor(m_dataset.channels, index);
    m_displayed.push_back(std::move(displayed));
  }

  CFileSet& m_files;
  const SDataset& m_dataset;
  const SReduceRequest& m_request;
  CRenderGuard& m_guard;
  std::vector<SDisplayChannel> m_displayed;
  SSize m_size;
};

}  // namespace

void RenderOverview(CFileSet& files, const SDataset& dataset, const SRenderRequest& wanted, SQvPicBuf& picture,
                    CRenderGuard& guard) {
  SReduceRequest request;
  request.displayed = {wanted.width, wanted.height};
  request.orientation = dataset.page.orientation;
  request.fast = wanted.fast;
  if (dataset.channels.empty()) return RenderPicture(files, dataset, request, picture, guard);
  CChannelRenderer(files, dataset, request, guard).Render(wanted.channels, picture);
}

}  // namespace imageformats::tiff
