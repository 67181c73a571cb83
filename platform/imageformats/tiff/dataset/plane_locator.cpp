#include "platform/imageformats/tiff/dataset/plane_locator.h"

#include "platform/imageformats/base/format_error.h"

namespace imageformats::tiff {
namespace {

// Of stacks whose pages follow each other in the file.
class CPageLocator final : public IPlaneLocator {
 public:
  CPageLocator(CFileSet& files, const SDataset& dataset) : m_files(files), m_dataset(dataset) {}

  SPlane Locate(const SPlaneIndex& index) override {
    const SPageOrder& order = m_dataset.pageOrder;
    const std::uint64_t number =
        order.channel * index.channel + order.z * index.z + order.t * index.t + order.position * index.position;
    SPlane plane;
    if (!LocatePage(m_files.Main(), m_dataset, number / order.planesInPage, &plane)) {
      throw CDamagedError("The plane that was chosen is not in the file");
    }
    return plane;
  }

 private:
  CFileSet& m_files;
  const SDataset& m_dataset;
};

}  // namespace

std::unique_ptr<IPlaneLocator> NewPlaneLocator(CFileSet& files, const SDataset& dataset) {
  if (dataset.kind == SDataset::EKind::kOme) return NewOmePlaneLocator(files, dataset);
  return std::make_unique<CPageLocator>(files, dataset);
}

}  // namespace imageformats::tiff
