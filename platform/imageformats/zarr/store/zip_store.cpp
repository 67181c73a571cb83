#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/zarr/store/store.h"
#include "platform/imageformats/zarr/store/zip_archive.h"

namespace imageformats::zarr {

namespace {

class CZipStore final : public IStore {
 public:
  explicit CZipStore(std::shared_ptr<const CInput> archive)
      : m_input(std::move(archive)), m_archive(m_input), m_root(FindRoot()) {}

  std::optional<CStoredFile> Open(const std::string& key, bool inParts, CRenderGuard& guard) override {
    const auto found = m_archive.Entries().find(m_root + key);
    if (found == m_archive.Entries().end()) return std::nullopt;
    const CZipArchive::SEntry& entry = found->second;
    if (inParts && CZipArchive::IsStored(entry)) {
      return CStoredFile(m_input, m_archive.DataOf(entry), entry.packedSize);
    }
    CReservation reservation(guard, entry.size);
    return CStoredFile(m_archive.Unpack(entry, guard), std::move(reservation));
  }

 private:
  // The folder, with its slash, of the description that stands highest.
  std::string FindRoot() const {
    std::optional<std::string> root;
    for (const auto& [name, entry] : m_archive.Entries()) {
      for (const char* document : kQvPictureDocuments) {
        const std::string_view tail(document);
        if (name.size() < tail.size() || name.compare(name.size() - tail.size(), tail.size(), tail) != 0) continue;
        const std::string folder = name.substr(0, name.size() - tail.size());
        if (!folder.empty() && folder.back() != '/') continue;
        if (!root || folder.size() < root->size() || (folder.size() == root->size() && folder < *root)) root = folder;
      }
    }
    Require(root.has_value(), "The archive holds no picture of a known format");
    return *root;
  }

  std::shared_ptr<const CInput> m_input;
  CZipArchive m_archive;
  std::string m_root;
};

}  // namespace

std::unique_ptr<IStore> OpenZipStore(std::shared_ptr<const CInput> archive) {
  return std::make_unique<CZipStore>(std::move(archive));
}

}  // namespace imageformats::zarr
