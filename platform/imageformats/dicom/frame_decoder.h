#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/dicom/dicom_header.h"

namespace imageformats {

// How the frames' pixels are stored once they are decoded; `size` is left to the caller.
SStoredPixels DicomPixels(const SDicomHeader& header);

// Turns a frame's bytes into pixels, samples interleaved, signed ones raised to begin at 0, palettes looked up.
class CFrameDecoder {
 public:
  virtual ~CFrameDecoder() = default;

  // How many times sides are halved.
  std::uint32_t Halvings() const noexcept { return m_halvings; }
  // Of decoded frames: halves are rounded up.
  SSize Size() const noexcept { return m_size; }
  std::size_t Stride() const noexcept { return m_stride; }

  // Valid until the next call, aligned for 16-bit words. Throws CDamagedError when the bytes are no whole frame.
  virtual const std::uint8_t* Decode(std::span<const std::uint8_t> bytes) = 0;

 protected:
  CFrameDecoder(const SDicomHeader& header, const SStoredPixels& pixels, std::uint32_t halvings, CRenderGuard& guard);
  std::uint8_t* Rows() noexcept { return reinterpret_cast<std::uint8_t*>(m_rows.data()); }

 private:
  std::uint32_t m_halvings;
  SSize m_size;
  std::size_t m_stride;
  std::vector<std::uint16_t> m_rows;
};

// The decoder for the header's coding. `wanted` is the smallest size that will do for the whole picture, 0 x 0: nothing
// but the full size; `sample` is one of the frames. All arguments but the frame must outlive it.
std::unique_ptr<CFrameDecoder> OpenFrameDecoder(const SDicomHeader& header, const SStoredPixels& pixels, SSize wanted,
                                                std::span<const std::uint8_t> sample, CRenderGuard& guard);

// The single kinds; for OpenFrameDecoder.
std::unique_ptr<CFrameDecoder> OpenNativeFrames(const SDicomHeader& header, const SStoredPixels& pixels,
                                                CRenderGuard& guard);
std::unique_ptr<CFrameDecoder> OpenJpegFrames(const SDicomHeader& header, const SStoredPixels& pixels,
                                              std::uint32_t halvings, CRenderGuard& guard);
std::unique_ptr<CFrameDecoder> OpenJpeg2000Frames(const SDicomHeader& header, const SStoredPixels& pixels,
                                                  std::uint32_t halvings, CRenderGuard& guard);

}  // namespace imageformats
