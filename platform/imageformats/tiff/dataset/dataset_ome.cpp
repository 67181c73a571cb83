#include <algorithm>
#include <cstdlib>
#include <map>
#include <optional>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/dataset/companion.h"
#include "platform/imageformats/tiff/dataset/dataset.h"
#include "platform/imageformats/tiff/dataset/plane_locator.h"
#include "platform/imageformats/tiff/directory/associated_pages.h"
#include "platform/imageformats/tiff/directory/pyramid.h"
#include "platform/imageformats/tiff/directory/tags.h"
#include "platform/imageformats/tiff/ome/ome_planes.h"
#include "platform/imageformats/tiff/ome/ome_xml.h"
#include "system/qvstring.h"

namespace imageformats::tiff {
namespace {

// Stands for the name of an opened companion, which holds no planes: no file beside it is called so.
constexpr char kCompanion = '/';

bool SameName(const std::string& a, const std::string& b) {
  return a == b || CQvStringUtils::EqualNoCase(CQvStringUtils::UTF8toW(a.c_str()).Str(),
                                               CQvStringUtils::UTF8toW(b.c_str()).Str());
}

// Finds the files that an OME document speaks of.
class COmeFiles {
 public:
  // `ownUuid` is that of the opened file; `documentFile` the name of the file that holds the document, empty when it is
  // the opened one.
  COmeFiles(CFileSet& files, const SOmeDocument& document, std::string ownUuid, std::string documentFile)
      : m_files(files), m_ownUuid(std::move(ownUuid)), m_documentFile(std::move(documentFile)) {
    m_allInOne = AllInOneFile(document);
  }

  // Index in the file set, or -1. A file that was renamed is known by its UUID, or because it is the only one.
  int Find(const SOmeTiffData& data) {
    if (IsOwn(data)) return 0;
    return m_files.FindTiff(data.fileName.empty() ? m_documentFile : data.fileName);
  }

  bool IsOwn(const SOmeTiffData& data) const {
    if (!data.uuid.empty() && data.uuid == m_ownUuid) return true;
    if (data.fileName.empty()) return m_documentFile.empty();
    return SameName(data.fileName, m_files.MainName()) || (m_allInOne && m_documentFile.empty());
  }

  std::size_t CountPlanes(const SOmeTiffData& data) {
    const int file = Find(data);
    return file < 0 ? 0 : m_files.File(static_cast<std::size_t>(file)).chain.size();
  }

 private:
  static bool AllInOneFile(const SOmeDocument& document) {
    const std::string* name = nullptr;
    for (const SOmeImage& image : document.images) {
      for (const SOmeTiffData& data : image.tiffData) {
        if (!name) name = &data.fileName;
        if (data.fileName != *name) return false;
      }
    }
    return true;
  }

  CFileSet& m_files;
  std::string m_ownUuid, m_documentFile;
  bool m_allInOne = false;
};

// A binary-only file points to the one that holds the document: a companion of pure XML, or another TIFF file.
bool ResolveDocument(CFileSet& files, SOmeDocument* document, std::string* documentFile) {
  if (document->metadataFile.empty() || !document->images.empty()) return !document->images.empty();
  *documentFile = document->metadataFile;
  const std::shared_ptr<const CInput> input = files.OpenBeside(*documentFile);
  if (!input) return false;
  std::string text;
  const auto head = input->Head();
  const bool isXml = !head.empty() && head[0] != 'I' && head[0] != 'M';
  if (isXml) {
    text = CompanionText(*input);
  } else {
    const int file = files.FindTiff(*documentFile);
    if (file < 0) return false;
    STiffFile& tiff = files.File(static_cast<std::size_t>(file));
    tiff.handle.Select(tiff.chain.front().offset);
    text = TextTag(tiff.handle, TIFFTAG_IMAGEDESCRIPTION);
  }
  std::string error;
  return LooksLikeOmeXml(text) && ParseOmeXml(text, document, &error) && !document->images.empty();
}

// The planes of an image that exist.
class COmePlanes {
 public:
  COmePlanes(CFileSet& files, COmeFiles& omeFiles, const SOmeImage& image, std::uint32_t channelPlanes)
      : m_files(files),
        m_omeFiles(omeFiles),
        m_image(image),
        m_candidates(std::min(channelPlanes, kMaxOverviewChannels)) {
    VisitOmePlanes(
        image, channelPlanes, [&](const SOmeTiffData& data) { return omeFiles.CountPlanes(data); },
        [&](const SOmePlaneRef& ref) {
          if (ref.c < m_candidates.size()) m_candidates[ref.c].push_back(ref);
          return true;
        });
  }

  // The plane of that channel, or the nearest that is there, in time before z.
  std::optional<SPlane> Choose(std::uint32_t channel, std::uint32_t z, std::uint32_t t) {
    if (channel >= m_candidates.size()) return std::nullopt;
    std::vector<SOmePlaneRef>& refs = m_candidates[channel];
    const auto wanted =
        std::find_if(refs.begin(), refs.end(), [&](const SOmePlaneRef& ref) { return ref.z == z && ref.t == t; });
    if (wanted != refs.end()) {
      if (std::optional<SPlane> plane = Locate(*wanted)) return plane;
    }
    const auto far = [](std::uint32_t a, std::uint32_t b) { return std::abs(std::int64_t{a} - std::int64_t{b}); };
    std::stable_sort(refs.begin(), refs.end(), [&](const SOmePlaneRef& a, const SOmePlaneRef& b) {
      if (a.t != b.t) return far(a.t, t) < far(b.t, t);
      return far(a.z, z) < far(b.z, z);
    });
    std::optional<SPlane> plane;
    const auto found = std::find_if(refs.begin(), refs.end(), [&](const SOmePlaneRef& ref) {
      plane = Locate(ref);
      return plane.has_value();
    });
    refs.erase(refs.begin(), found);  // what is not there need not be looked for again
    return plane;
  }

 private:
  std::optional<SPlane> Locate(const SOmePlaneRef& ref) {
    const int file = m_omeFiles.Find(m_image.TiffData(ref.tiffData));
    if (file < 0) return std::nullopt;
    const auto& chain = m_files.File(static_cast<std::size_t>(file)).chain;
    if (ref.ifd >= chain.size()) return std::nullopt;
    SPlane plane;
    plane.file = static_cast<std::size_t>(file);
    plane.directory = chain[ref.ifd].offset;
    return plane;
  }

  CFileSet& m_files;
  COmeFiles& m_omeFiles;
  const SOmeImage& m_image;
  std::vector<std::vector<SOmePlaneRef>> m_candidates;  // by channel
};

bool SameShape(const SOmeImage& a, const SOmeImage& b) {
  return a.sizeX == b.sizeX && a.sizeY == b.sizeY && a.sizeZ == b.sizeZ && a.sizeC == b.sizeC && a.sizeT == b.sizeT &&
         a.pixelType == b.pixelType;
}

// The first image with a plane in the opened file: of a set with a file for each position every file shows its own. A
// slide's label or macro image only when the file has no other.
std::size_t ChooseImage(const SOmeDocument& document, const COmeFiles& files) {
  std::optional<std::size_t> associated;
  for (std::size_t i = 0; i < document.images.size(); ++i) {
    const auto& data = document.images[i].tiffData;
    if (std::none_of(data.begin(), data.end(), [&](const SOmeTiffData& d) { return files.IsOwn(d); })) continue;
    if (AssociatedName(document.images[i].name).empty()) return i;
    if (!associated) associated = i;
  }
  return associated.value_or(0);
}

void DescribeChannel(const SOmeImage& image, std::uint32_t index, SOverviewChannel* shown) {
  if (index >= image.channels.size()) return;
  const SOmeChannel& channel = image.channels[index];
  shown->name = channel.name;
  shown->color = channel.color;
  shown->emission = channel.emission;
}

// A plane of several samples is a picture of its own when it is the only one; else its samples are channels, those of
// a colour picture in the primary colours.
void AddPlane(const SPlane& plane, const SPage& page, const SOmeImage& image, std::uint32_t index, bool alone,
              SDataset* dataset) {
  const bool isColor = page.photometric == PHOTOMETRIC_RGB || page.photometric == PHOTOMETRIC_YCBCR;
  if (isColor && alone) return;
  std::vector<std::uint32_t> samples = ChannelSamples(page);
  if (isColor && page.samples >= 3) samples = {0, 1, 2};
  if (samples.empty()) samples = {0};
  for (const std::uint32_t sample : samples) {
    SOverviewChannel shown;
    shown.plane = plane;
    shown.planeNumber = index;
    shown.sample = sample;
    DescribeChannel(image, samples.size() > 1 && !isColor ? index + sample : index, &shown);
    if (isColor) shown.color = 0xFF0000u >> (8 * sample);
    dataset->channels.push_back(std::move(shown));
  }
}

bool AddPlanes(CFileSet& files, COmeFiles& omeFiles, const SOmeImage& image, SDataset* dataset) {
  std::uint32_t channelPlanes = image.ChannelPlanes();
  const SIfdSummary& first = files.Main().chain.front();
  // Documents that do not say that their channels are samples of one plane.
  if (first.samples > 1 && channelPlanes == image.sizeC && image.sizeC % first.samples == 0) {
    channelPlanes = image.sizeC / first.samples;
  }
  COmePlanes planes(files, omeFiles, image, channelPlanes);
  bool found = false;
  for (std::uint32_t c = 0; c < std::min(channelPlanes, kMaxOverviewChannels); ++c) {
    const std::optional<SPlane> plane = planes.Choose(c, image.sizeZ / 2, 0);
    if (!plane) continue;
    const SPage page = ReadDatasetPage(files.File(plane->file), plane->directory);
    if (found && page.Size() != dataset->page.Size()) continue;
    if (!found) {
      dataset->page = page;
      dataset->mainPlane = *plane;
      found = true;
    }
    AddPlane(*plane, page, image, c, channelPlanes == 1, dataset);
  }
  dataset->sizeC = channelPlanes;
  return found;
}

// Keeps the planes of one position.
class COmePlaneLocator final : public IPlaneLocator {
 public:
  COmePlaneLocator(CFileSet& files, const SDataset& dataset)
      : m_files(files), m_dataset(dataset), m_omeFiles(files, dataset.ome, dataset.omeUuid, dataset.omeDocumentFile) {}

  SPlane Locate(const SPlaneIndex& index) override {
    if (!m_planes || m_position != index.position) {
      const SOmeImage& image = m_dataset.ome.images[m_dataset.omePositions[index.position]];
      m_planes.emplace(m_files, m_omeFiles, image, m_dataset.sizeC);
      m_position = index.position;
    }
    const std::optional<SPlane> plane = m_planes->Choose(index.channel, index.z, index.t);
    if (!plane) throw CDamagedError("The plane that was chosen is not there");
    return *plane;
  }

 private:
  CFileSet& m_files;
  const SDataset& m_dataset;
  COmeFiles m_omeFiles;
  std::optional<COmePlanes> m_planes;
  std::uint32_t m_position = 0;
};

}  // namespace

std::unique_ptr<IPlaneLocator> NewOmePlaneLocator(CFileSet& files, const SDataset& dataset) {
  return std::make_unique<COmePlaneLocator>(files, dataset);
}

bool OpenOmeDataset(CFileSet& files, const std::string& description, SDataset* dataset) {
  SDataset result;
  result.kind = SDataset::EKind::kOme;
  std::string error;
  if (!ParseOmeXml(description, &result.ome, &error)) return false;
  result.omeUuid = result.ome.uuid;
  if (files.Companion()) result.omeDocumentFile = std::string(1, kCompanion);
  if (!ResolveDocument(files, &result.ome, &result.omeDocumentFile)) return false;
  COmeFiles omeFiles(files, result.ome, result.omeUuid, result.omeDocumentFile);
  result.omeImage = ChooseImage(result.ome, omeFiles);
  const SOmeImage& image = result.ome.images[result.omeImage];
  for (std::size_t i = 0; i < result.ome.images.size(); ++i) {
    const SOmeImage& other = result.ome.images[i];
    const bool isAssociated = i != result.omeImage && !AssociatedName(other.name).empty();
    if (SameShape(other, image) && !isAssociated) result.omePositions.push_back(i);
  }
  result.sizeZ = image.sizeZ;
  result.sizeT = image.sizeT;
  result.shownZ = image.sizeZ;
  result.positions = static_cast<std::uint32_t>(result.omePositions.size());
  if (!AddPlanes(files, omeFiles, image, &result)) return false;
  *dataset = std::move(result);
  return true;
}

std::optional<SDataset> OpenOmeImage(CFileSet& files, const SDataset& dataset, std::size_t image) {
  SDataset result;
  result.kind = SDataset::EKind::kOme;
  result.ome = dataset.ome;
  result.omeUuid = dataset.omeUuid;
  result.omeDocumentFile = dataset.omeDocumentFile;
  result.omeImage = image;
  result.omePositions = {image};
  COmeFiles omeFiles(files, result.ome, result.omeUuid, result.omeDocumentFile);
  if (!AddPlanes(files, omeFiles, dataset.ome.images[image], &result)) return std::nullopt;
  return result;
}

}  // namespace imageformats::tiff
