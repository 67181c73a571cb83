#pragma once

#include <memory>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/planes/plane_stack.h"
#include "platform/imageformats/zarr/ngff/find_picture.h"
#include "platform/imageformats/zarr/ngff/multiscale.h"
#include "platform/imageformats/zarr/store/store.h"

namespace imageformats::zarr {

class CZarrImage final : public COpenedImage {
 public:
  explicit CZarrImage(std::shared_ptr<const CInput> input);

  const SQvImageInfo& Info() const override { return m_info; }
  // Of a folder, that of its description: chunks count when they are read.
  std::uint64_t SourceBytes() const override { return m_input->Size(); }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  std::shared_ptr<const CInput> m_input;
  std::unique_ptr<IStore> m_store;
  SFoundPicture m_found;
  SMultiscale m_picture;
  SPlaneStack m_stack;
  SQvImageInfo m_info;
};

}  // namespace imageformats::zarr
