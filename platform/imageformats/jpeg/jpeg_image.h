#pragma once

#include <memory>
#include <optional>

#include "platform/imageformats/codec/codec_module.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"
#include "platform/imageformats/jpeg/stream/jpeg_markers.h"
#include "platform/imageformats/render/orientation.h"

namespace imageformats {

// An opened JPEG file. Opening reads the markers only; the decoder is made when pixels are wanted.
class JpegImage final : public OpenedImage {
 public:
  explicit JpegImage(std::shared_ptr<const Input> input);

  const SQvImageInfo& Info() const override { return m_info; }
  void Read(SQvPicBuf& picture, RenderGuard& guard) override;
  void Render(const SRenderRequest& request, SQvPicBuf& picture, RenderGuard& guard) override;
  SImageMetadata Metadata() override;

 private:
  // The averages from block means alone, where these are fine enough and the file is plain; nothing otherwise.
  std::optional<SAveragedPicture> AverageMeans(const SRenderRequest& request, RenderGuard& guard) const;
  SSize FinestNeeded(const SRenderRequest& request) const noexcept;
  SAveragedPicture AverageDecoded(const SRenderRequest& request, RenderGuard& guard);
  // Throws UnsupportedError for frames that libjpeg does not decode.
  JpegDecoder& Decoder();

  std::shared_ptr<const Input> m_input;
  SJpegMarkers m_markers;
  SSize m_stored;
  EOrientation m_orientation = EOrientation::kTopLeft;
  SQvImageInfo m_info;
  std::unique_ptr<JpegDecoder> m_decoder;
};

}  // namespace imageformats
