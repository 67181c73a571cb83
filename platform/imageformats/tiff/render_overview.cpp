#include "platform/imageformats/tiff/render_overview.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/work_ahead.h"
#include "platform/imageformats/planes/plane_stack.h"
#include "platform/imageformats/tiff/dataset/plane_locator.h"
#include "platform/imageformats/tiff/directory/pyramid.h"
#include "platform/imageformats/tiff/rows/reduce_page.h"

namespace imageformats::tiff {
namespace {

bool SamePlane(const SPlane& a, const SPlane& b) noexcept {
  return a.file == b.file && a.directory == b.directory && a.dataOffset == b.dataOffset;
}

// The page or level to decode, and how.
struct SPlaneSource {
  STiffFile& file;
  SPage page;
  SReduceRequest request;
};

// Reduces one plane after the other through a handle of its own.
class CPlaneWorker final : public IPieceWorker {
 public:
  CPlaneWorker(const std::vector<SPlaneSource>& sources, CRenderGuard& guard) : m_sources(sources), m_guard(guard) {}

  void Do(std::uint64_t plane) override {
    const SPlaneSource& source = m_sources[plane];
    const std::uint64_t before = m_guard.Available();
    CTiffHandle handle(source.file.input);
    m_page = ReducePage(handle, source.page, source.request, m_guard);
    m_guard.Release(before - m_guard.Available());
  }
  const SReducedPage& Page() const noexcept { return m_page; }

 private:
  const std::vector<SPlaneSource>& m_sources;
  CRenderGuard& m_guard;
  SReducedPage m_page;
};

// The planes of a dataset; channels that lie in one are decoded together.
class CTiffPlanes final : public IPlaneReader {
 public:
  CTiffPlanes(CFileSet& files, const SDataset& dataset, const SPlaneStack& stack, bool fast)
      : m_files(files), m_dataset(dataset), m_stack(stack), m_fast(fast) {}

  SAveragedPicture Average(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override {
    if (!m_dataset.channels.empty()) return AverageChannels(plane, {{plane.channel}}, reduced, guard).front();
    SPlaneSource source = Source(Locate(plane), {}, reduced);
    return ReducePage(source.file.handle, source.page, source.request, guard).averages;
  }

  std::vector<SAveragedPicture> AverageChannels(const SPlaneIndex& plane, std::span<const std::uint32_t> channels,
                                                SSize reduced, CRenderGuard& guard) override {
    const std::vector<SPlaneSource> sources = SourcesOf(plane, channels, reduced, guard);
    const auto make = [&](CRenderGuard& guardOfWorker) {
      return std::make_unique<CPlaneWorker>(sources, guardOfWorker);
    };
    constexpr std::uint64_t kBytesOfPlane = 24 << 20;  // strips of up to 8 MiB, with what a decoder keeps
    CWorkAhead ahead(sources.size(), kBytesOfPlane, make, guard);
    std::vector<SAveragedPicture> averages;
    for (std::size_t i = 0; i < sources.size(); ++i) {
      guard.CheckTime();
      if (const auto* worker = static_cast<const CPlaneWorker*>(ahead.Take(i))) {
        AddChannels(worker->Page(), &averages);
      } else {
        AddChannels(ReduceHere(sources[i], ahead, guard), &averages);
      }
    }
    return averages;
  }

  SAveragedPicture Sample(const SPlaneIndex& plane, SSize reduced, CRenderGuard& guard) override {
    std::vector<std::uint32_t> samples;
    if (!m_dataset.channels.empty()) samples.push_back(m_dataset.channels[plane.channel].sample);
    SPlaneSource source = Source(Locate(plane), samples, reduced);
    return SamplePage(source.file.handle, source.page, source.request, guard);
  }

 private:
  // One for the channels that lie in the same plane.
  std::vector<SPlaneSource> SourcesOf(const SPlaneIndex& plane, std::span<const std::uint32_t> channels, SSize reduced,
                                      CRenderGuard& guard) {
    std::vector<SPlaneSource> sources;
    for (std::size_t first = 0; first < channels.size();) {
      guard.CheckTime();
      const SPlane place = Locate(WithChannel(plane, channels[first]));
      std::vector<std::uint32_t> samples;
      std::size_t next = first;
      for (; next < channels.size() && SamePlane(Locate(WithChannel(plane, channels[next])), place); ++next) {
        samples.push_back(m_dataset.channels[channels[next]].sample);
      }
      sources.push_back(Source(place, std::move(samples), reduced));
      first = next;
    }
    return sources;
  }

  // What helpers hold may be what it lacks.
  static SReducedPage ReduceHere(const SPlaneSource& source, CWorkAhead& ahead, CRenderGuard& guard) {
    try {
      return ReducePage(source.file.handle, source.page, source.request, guard);
    } catch (const CFormatError&) {
      if (!ahead.Stop()) throw;
      return ReducePage(source.file.handle, source.page, source.request, guard);
    }
  }

  static SPlaneIndex WithChannel(SPlaneIndex plane, std::uint32_t channel) noexcept {
    plane.channel = channel;
    return plane;
  }

  // The planes of the overview are known; the others are looked for when they are first wanted.
  SPlane Locate(SPlaneIndex index) {
    const bool isPicture = m_dataset.channels.empty();
    const bool isOwn = index.z == std::min(m_stack.ownZ.value_or(m_stack.sizeZ / 2), m_stack.sizeZ - 1) &&
                       index.t == 0 && index.position == m_stack.ownPosition;
    if (isOwn) return isPicture ? m_dataset.mainPlane : m_dataset.channels[index.channel].plane;
    if (!m_locator) m_locator = NewPlaneLocator(m_files, m_dataset);
    index.channel = isPicture ? 0 : m_dataset.channels[index.channel].planeNumber;
    return m_locator->Locate(index);
  }

  // From the smallest of the plane's levels that has the wanted pixels.
  SPlaneSource Source(const SPlane& plane, std::vector<std::uint32_t> samples, SSize reduced) {
    STiffFile& file = m_files.File(plane.file);
    const bool isMain = SamePlane(plane, m_dataset.mainPlane);
    SPage page = isMain ? m_dataset.page : ReadDatasetPage(file, plane.directory);
    page.orientation = m_dataset.page.orientation;
    SReduceRequest request;
    request.displayed = DisplayedSize(reduced, page.orientation);
    request.orientation = page.orientation;
    request.fast = m_fast;
    request.dataOffset = plane.dataOffset;
    request.channels = std::move(samples);
    std::vector<SIfdSummary> levels = plane.levels;
    const std::vector<SIfdSummary> below = SubIfdLevels(*file.input, page);
    levels.insert(levels.end(), below.begin(), below.end());
    const std::uint64_t level = ChooseLevel(page, levels, reduced);
    if (level != page.offset) page = ReadDatasetPage(file, level);
    return {file, std::move(page), std::move(request)};
  }

  static void AddChannels(const SReducedPage& page, std::vector<SAveragedPicture>* averages) {
    const std::vector<float>& from = page.averages.samples;
    const std::size_t step = page.averages.components;
    for (std::size_t k = 0; k < step; ++k) {
      SAveragedPicture& channel = averages->emplace_back(SAveragedPicture{page.averages.size, 1, {}});
      channel.samples.reserve(from.size() / step);
      for (std::size_t i = k; i < from.size(); i += step) {
        const auto high = static_cast<float>(page.pixelFormat.nominal.high);
        channel.samples.push_back(page.pixelFormat.inverted ? high - from[i] : from[i]);
      }
    }
  }

  CFileSet& m_files;
  const SDataset& m_dataset;
  const SPlaneStack& m_stack;
  const bool m_fast;
  std::unique_ptr<IPlaneLocator> m_locator;
};

SPlaneStack StackOf(const SDataset& dataset) {
  const SPage& page = dataset.page;
  std::vector<std::uint32_t> samples;
  if (!dataset.channels.empty()) samples.push_back(dataset.channels.front().sample);
  const SPixelFormat pixelFormat = CRowConverter(page, DecodedLayoutOf(page), samples).PixelFormat();
  SPlaneStack stack;
  stack.size = page.Size();
  stack.orientation = page.orientation;
  stack.sizeZ = dataset.shownZ;
  stack.sizeT = dataset.sizeT;
  stack.positions = dataset.positions;
  stack.ownZ = dataset.ownZ;
  const auto& positions = dataset.omePositions;
  const auto own = std::find(positions.begin(), positions.end(), dataset.omeImage);
  if (own != positions.end()) stack.ownPosition = static_cast<std::uint32_t>(own - positions.begin());
  stack.channels = StackChannels(dataset);
  stack.nominal = pixelFormat.nominal;
  stack.stretch = pixelFormat.stretch;
  stack.model = pixelFormat.model;
  stack.inverted = pixelFormat.inverted;
  stack.profile = page.profile;
  return stack;
}

}  // namespace

void RenderOverview(CFileSet& files, const SDataset& dataset, const SRenderRequest& wanted, SQvPicBuf& picture,
                    CRenderGuard& guard) {
  if (const std::string why = UnsupportedReason(dataset.page); !why.empty()) throw CUnsupportedError(why);
  const SPlaneStack stack = StackOf(dataset);
  CTiffPlanes planes(files, dataset, stack, wanted.fast);
  RenderPlanes(stack, planes, wanted, picture, guard);
}

}  // namespace imageformats::tiff
