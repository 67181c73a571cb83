#pragma once

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/tiff/dataset/dataset.h"

namespace imageformats::tiff {

// An opened file of the TIFF family.
class CTiffImage final : public COpenedImage {
 public:
  explicit CTiffImage(std::shared_ptr<const CInput> input);

  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return m_files.Bytes(); }
  // Colours as stored after palettes and YCbCr are resolved: grey, RGB, CMYK, or the samples of channels; Lab as RGB.
  // Opacity is laid over white. Samples of other than 8 and 16 bits are brought to the nearer larger of the two; wider
  // ones to 16: integers by their high bits, floating point between the least and the largest value.
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;
  bool HasCustomTags() const override { return m_hasCustomTags; }
  bool CustomTag(const CQvStringW& name, CQvByteArray& bytes) override;
  std::vector<SAssociatedImage> AssociatedImages() override;
  void RenderAssociated(const std::string& name, SQvPicBuf& picture, CRenderGuard& guard) override;
  std::optional<SPlate> Plate() override;
  void RenderWell(std::uint32_t well, SQvPicBuf& picture, CRenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  CFileSet m_files;
  SDataset m_dataset;
  SQvImageInfo m_info;
  bool m_hasCustomTags;
};

}  // namespace imageformats::tiff
