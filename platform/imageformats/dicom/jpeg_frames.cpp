#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/dicom/frame_decoder.h"
#include "platform/imageformats/jpeg/jpeg_decoder.h"

namespace imageformats {

namespace {

// Frames that are JPEG streams of 8 bits, scaled while they are decoded.
class CDicomJpegFrames final : public CFrameDecoder {
 public:
  CDicomJpegFrames(const SDicomHeader& header, const SStoredPixels& pixels, std::uint32_t halvings, CRenderGuard& guard)
      : CFrameDecoder(header, pixels, halvings, guard),
        m_header(header),
        m_guard(guard),
        m_decoder(std::span<const std::uint8_t>()) {
    if (header.bitsAllocated != 8) throw CUnsupportedError("JPEG of 12 bits is not supported");
    if (header.IsPalette()) throw CUnsupportedError("JPEG with palettes is not supported");
    m_how.scale = 8u >> halvings;
    m_how.color = header.IsGrey()               ? EJpegColor::kGrey
                  : header.photometric == "RGB" ? EJpegColor::kRgb
                                                : EJpegColor::kYCbCr;
  }

  const std::uint8_t* Decode(std::span<const std::uint8_t> bytes) override {
    m_decoder.SetStream(bytes);
    const SJpegHeader& found = m_decoder.ReadHeader();
    Require(SSize{found.width, found.height} == m_header.frame && found.components == m_header.samples,
            "The JPEG data of a frame do not fit the picture");
    m_decoder.Start(m_how, m_guard);
    Require(m_decoder.OutputSize() == Size(), "The JPEG data of a frame do not fit the picture");
    m_decoder.ReadRows(Rows(), Stride(), Size().height);
    return Rows();
  }

 private:
  const SDicomHeader& m_header;
  CRenderGuard& m_guard;
  CJpegDecoder m_decoder;
  SJpegDecodeOptions m_how;
};

}  // namespace

std::unique_ptr<CFrameDecoder> OpenJpegFrames(const SDicomHeader& header, const SStoredPixels& pixels,
                                              std::uint32_t halvings, CRenderGuard& guard) {
  return std::make_unique<CDicomJpegFrames>(header, pixels, halvings, guard);
}

}  // namespace imageformats
