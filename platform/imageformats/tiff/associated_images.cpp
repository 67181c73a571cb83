#include "platform/imageformats/tiff/associated_images.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/tiff/directory/associated_pages.h"
#include "platform/imageformats/tiff/render_overview.h"

namespace imageformats::tiff {
namespace {

constexpr const char* kAssociatedNames[] = {"label", "macro"};

std::optional<SDataset> FindPage(CFileSet& files, const SDataset& dataset, const std::string& name) {
  STiffFile& file = files.Main();
  std::size_t looked = 0;
  for (const SIfdSummary& page : file.chain) {
    if (page.offset == dataset.mainPlane.directory) continue;
    if (++looked > kMaxAssociatedPages) break;
    if (AssociatedName(file, page) != name) continue;
    SDataset found;
    found.mainPlane.directory = page.offset;
    found.page = ReadPage(file.handle, page.offset);
    return found;
  }
  return std::nullopt;
}

std::optional<SDataset> FindOmeImage(CFileSet& files, const SDataset& dataset, const std::string& name) {
  for (std::size_t i = 0; i < dataset.ome.images.size(); ++i) {
    if (i != dataset.omeImage && AssociatedName(dataset.ome.images[i].name) == name) {
      return OpenOmeImage(files, dataset, i);
    }
  }
  return std::nullopt;
}

std::optional<SDataset> FindAssociated(CFileSet& files, const SDataset& dataset, const std::string& name) {
  if (std::find(std::begin(kAssociatedNames), std::end(kAssociatedNames), name) == std::end(kAssociatedNames)) {
    return std::nullopt;
  }
  try {
    return dataset.kind == SDataset::EKind::kOme ? FindOmeImage(files, dataset, name) : FindPage(files, dataset, name);
  } catch (const CDamagedError&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<SAssociatedImage> ListAssociated(CFileSet& files, const SDataset& dataset) {
  std::vector<SAssociatedImage> images;
  for (const char* name : kAssociatedNames) {
    const std::optional<SDataset> found = FindAssociated(files, dataset, name);
    if (found) images.push_back({name, DisplayedSize(found->page.Size(), found->page.orientation)});
  }
  return images;
}

void RenderAssociatedImage(CFileSet& files, const SDataset& dataset, const std::string& name, SQvPicBuf& picture,
                           CRenderGuard& guard) {
  const std::optional<SDataset> found = FindAssociated(files, dataset, name);
  Require(found.has_value(), "The file holds no such image");
  RenderOverview(files, *found, {picture.width, picture.height}, picture, guard);
}

}  // namespace imageformats::tiff
