#include "platform/imageformats/tiff/plate_of_dataset.h"

#include <algorithm>
#include <unordered_map>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/tiff/render_overview.h"

namespace imageformats::tiff {
namespace {

// Where the images of a document are, and which of them is each file's overview.
class CImagePlaces {
 public:
  CImagePlaces(const CFileSet& files, const SDataset& dataset) : m_dataset(dataset), m_ownName(files.MainName()) {
    const std::vector<SOmeImage>& images = dataset.ome.images;
    for (std::size_t i = 0; i < images.size(); ++i) {
      m_byId.try_emplace(images[i].id, i);
      for (const SOmeTiffData& data : images[i].tiffData) m_shown.try_emplace(LowerAscii(FileOf(data)), i);
    }
    m_shown[""] = dataset.omeImage;
  }

  std::optional<std::size_t> Find(const std::string& id) const {
    const auto found = m_byId.find(id);
    return found == m_byId.end() ? std::nullopt : std::optional(found->second);
  }
  // Empty: the opened file.
  std::string FileOf(std::size_t image) const { return FileOf(m_dataset.ome.images[image].TiffData(0)); }
  bool IsShown(std::size_t image) const {
    const auto shown = m_shown.find(LowerAscii(FileOf(image)));
    return shown != m_shown.end() && shown->second == image;
  }

 private:
  std::string FileOf(const SOmeTiffData& data) const {
    if (!data.uuid.empty() && data.uuid == m_dataset.omeUuid) return {};
    const std::string& name = data.fileName.empty() ? m_dataset.omeDocumentFile : data.fileName;
    return LowerAscii(name) == LowerAscii(m_ownName) ? std::string() : name;
  }

  const SDataset& m_dataset;
  const std::string m_ownName;
  std::unordered_map<std::string, std::size_t> m_byId;
  std::unordered_map<std::string, std::size_t> m_shown;  // by file, in lower case
};

// A plate's wells with the images that the document describes.
struct SFoundWell {
  const SOmeWell* well;
  std::size_t image;
};

std::vector<SFoundWell> FindWells(const SOmePlate& plate, const CImagePlaces& places) {
  std::vector<SFoundWell> found;
  for (const SOmeWell& well : plate.wells) {
    for (const std::string& id : well.images) {
      const std::optional<std::size_t> image = places.Find(id);
      if (!image) continue;
      found.push_back({&well, *image});
      break;
    }
  }
  return found;
}

const SOmePlate* ShownPlate(const SDataset& dataset) {
  const std::vector<SOmePlate>& plates = dataset.ome.plates;
  if (dataset.kind != SDataset::EKind::kOme || plates.empty()) return nullptr;
  const std::string& shown = dataset.ome.images[dataset.omeImage].id;
  const auto holds = [&](const SOmeWell& well) {
    return std::find(well.images.begin(), well.images.end(), shown) != well.images.end();
  };
  const auto plate = std::find_if(plates.begin(), plates.end(), [&](const SOmePlate& candidate) {
    return std::any_of(candidate.wells.begin(), candidate.wells.end(), holds);
  });
  return plate == plates.end() ? &plates.front() : &*plate;
}

}  // namespace

std::optional<SPlate> PlateOfDataset(const CFileSet& files, const SDataset& dataset) {
  const SOmePlate* shown = ShownPlate(dataset);
  if (!shown) return std::nullopt;
  const CImagePlaces places(files, dataset);
  SPlate plate{shown->name, shown->rows, shown->columns, {}};
  for (const SFoundWell& found : FindWells(*shown, places)) {
    const SOmeImage& image = dataset.ome.images[found.image];
    SPlateWell well;
    well.row = found.well->row;
    well.column = found.well->column;
    well.fields = static_cast<std::uint32_t>(found.well->images.size());
    well.location = places.FileOf(found.image);
    well.isHidden = !places.IsShown(found.image);
    well.size = {image.sizeX, image.sizeY};
    plate.wells.push_back(std::move(well));
  }
  return plate.wells.empty() ? std::nullopt : std::optional(std::move(plate));
}

void RenderWellOfDataset(CFileSet& files, const SDataset& dataset, std::size_t well, SQvPicBuf& picture,
                         CRenderGuard& guard) {
  const SOmePlate* shown = ShownPlate(dataset);
  Require(shown != nullptr, "The file holds no plate");
  const std::vector<SFoundWell> wells = FindWells(*shown, CImagePlaces(files, dataset));
  Require(well < wells.size(), "The plate has no such well");
  const std::optional<SDataset> image = OpenOmeImage(files, dataset, wells[well].image);
  Require(image.has_value(), "The well's file is not there");
  RenderOverview(files, *image, {picture.width, picture.height}, picture, guard);
}

}  // namespace imageformats::tiff
