#pragma once

#include <memory>
#include <optional>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "platform/imageformats/jpeg/stream/jpeg_markers.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

// An opened JPEG file. Opening reads the markers only; the decoder is made when pixels are wanted.
class CJpegImage final : public COpenedImage {
 public:
  explicit CJpegImage(std::shared_ptr<const CInput> input);

  const SQvImageInfo& Info() const override { return m_info; }
  std::uint64_t SourceBytes() const override { return m_input->Size(); }
  void Read(SQvPicBuf& picture, CRenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, CRenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  // The averages from block means alone, where these are fine enough and the file is plain; nothing otherwise.
  bool HasMeansFor(SSize wanted) const noexcept;
  bool IsWorthAllScans(SSize wanted) const noexcept;
  std::optional<SAveragedPicture> AverageMeans(const SRenderRequest& request, CRenderGuard& guard) const;
  SSize SizeToCover(const SRenderRequest& request) const noexcept;
  SAveragedPicture AverageDecoded(const SRenderRequest& request, CRenderGuard& guard);
  // Throws CUnsupportedError for frames that libjpeg does not decode.
  CJpegDecoder& Decoder();

  std::shared_ptr<const CInput> m_input;
  SJpegMarkers m_markers;
  SSize m_stored;
  EOrientation m_orientation = EOrientation::kTopLeft;
  SQvImageInfo m_info;
  std::unique_ptr<CJpegDecoder> m_decoder;
};

}  // namespace imageformats
