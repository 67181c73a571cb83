#include <utility>

#include "platform/imageformats/zarr/store/store.h"

namespace imageformats::zarr {

namespace {

class CFolderStore final : public IStore {
 public:
  explicit CFolderStore(std::shared_ptr<const CInput> folder) : m_folder(std::move(folder)) {}

  std::optional<CStoredFile> Open(const std::string& key, bool /*inParts*/, CRenderGuard& /*guard*/) override {
    std::shared_ptr<const CInput> file = m_folder->OpenBelow(key);
    if (!file) return std::nullopt;
    const std::uint64_t size = file->Size();
    return CStoredFile(std::move(file), 0, size);
  }

 private:
  std::shared_ptr<const CInput> m_folder;
};

}  // namespace

std::unique_ptr<IStore> OpenFolderStore(std::shared_ptr<const CInput> folder) {
  return std::make_unique<CFolderStore>(std::move(folder));
}

}  // namespace imageformats::zarr
