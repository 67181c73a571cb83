#pragma once

#include <memory>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/png/png_header.h"
#include "platform/imageformats/png/png_row_converter.h"
#include "platform/imageformats/render/area_reducer.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

// An opened PNG file. Opening reads the chunks before the pixels.
class CPngImage final : public COpenedImage {
 public:
  explicit CPngImage(std::shared_ptr<const CInput> input);

  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return m_input->Size(); }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  ESampleType SampleType() const noexcept { return m_pixels.SampleBytes() == 2 ? ESampleType::kU16 : ESampleType::kU8; }
  // Calls `take` with the rows, laid over white: y, IPngRowSource::SBand.
  template <class Take>
  void VisitBands(CRenderGuard& guard, Take&& take) const;
  // On the scale of the samples.
  SAveragedPicture Average(SSize reduced, CRenderGuard& guard) const;
  // Of grey, see CNearestSampler.
  SAveragedPicture Sample(SSize reduced, CRenderGuard& guard) const;

  std::shared_ptr<const CInput> m_input;
  SPngHeader m_header;
  CPngRowConverter m_pixels;
  SSize m_stored;
  EOrientation m_orientation;
  SQvImageInfo m_info;
};

}  // namespace imageformats
