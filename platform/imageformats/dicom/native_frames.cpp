#include <algorithm>
#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/dicom/frame_decoder.h"
#include "platform/imageformats/render/ycc.h"

namespace imageformats {

namespace {

// Frames that are not compressed, or by run lengths (PS3.5, annex G).
class CNativeFrames final : public CFrameDecoder {
 public:
  CNativeFrames(const SDicomHeader& header, const SStoredPixels& pixels, CRenderGuard& guard)
      : CFrameDecoder(header, pixels, 0, guard),
        m_header(header),
        m_white(pixels.white),
        m_pixels(std::size_t{header.frame.width} * header.frame.height) {
    if (header.photometric == "YBR_FULL_422" || header.photometric.starts_with("YBR_PARTIAL")) {
      throw CUnsupportedError("The DICOM photometric interpretation " + header.photometric +
                              " is not supported without compression");
    }
    if (header.samples == 3 && header.bitsAllocated != 8) {
      throw CUnsupportedError("DICOM colours of more than 8 bits are not supported without compression");
    }
    m_isSwapped = header.encoding.bigEndian && header.bitsAllocated == 8 && header.inWords;
    if (header.coding == EDicomCoding::kRle || m_isSwapped) {
      m_unpacked = guard.NewVector<std::uint8_t>(
          CRenderGuard::Multiply(m_pixels, std::uint64_t{header.samples} * header.bitsAllocated / 8) + 1);
    }
  }

  const std::uint8_t* Decode(std::span<const std::uint8_t> bytes) override {
    if (m_header.coding == EDicomCoding::kRle) {
      Unpack(bytes);
      bytes = m_unpacked;
    } else if (m_isSwapped) {
      SwapPairs(bytes);
      bytes = m_unpacked;
    }
    for (std::uint32_t y = 0; y < m_header.frame.height; ++y) {
      std::uint8_t* row = Rows() + y * Stride();
      if (m_header.samples == 3) {
        PutColors(bytes, y, row);
      } else if (m_header.IsPalette()) {
        PutPalette(bytes, y, row);
      } else {
        PutGreys(bytes, y, row);
      }
    }
    return Rows();
  }

 private:
  void SwapPairs(std::span<const std::uint8_t> bytes) noexcept {
    for (std::size_t i = 0; i + 1 < std::min(bytes.size() + 1, m_unpacked.size()); ++i) {
      const std::size_t other = i ^ 1;
      m_unpacked[i] = other < bytes.size() ? bytes[other] : bytes[i];
    }
  }

  bool IsPlanar() const noexcept { return m_header.isPlanar || m_header.coding == EDicomCoding::kRle; }

  // The stored value at a pixel, raised when it is signed.
  std::uint32_t Value(std::span<const std::uint8_t> bytes, std::size_t pixel) const noexcept {
    const std::size_t size = m_header.bitsAllocated / 8;
    auto value = static_cast<std::uint32_t>(IntegerAt(bytes.data() + pixel * size, size, m_header.encoding.bigEndian));
    value >>= m_header.highBit + 1 - m_header.bitsStored;
    if (m_header.isSigned) value += 1u << (m_header.bitsStored - 1);
    return value & ((1u << m_header.bitsStored) - 1);
  }

  void PutGreys(std::span<const std::uint8_t> bytes, std::uint32_t y, std::uint8_t* row) const noexcept {
    const std::size_t first = std::size_t{y} * m_header.frame.width;
    if (m_header.bitsAllocated == 16) {
      auto* out = reinterpret_cast<std::uint16_t*>(row);
      for (std::uint32_t x = 0; x < m_header.frame.width; ++x)
        out[x] = static_cast<std::uint16_t>(Value(bytes, first + x));
    } else {
      const std::uint32_t most = (1u << m_header.bitsStored) - 1;
      for (std::uint32_t x = 0; x < m_header.frame.width; ++x) {
        row[x] = static_cast<std::uint8_t>(Value(bytes, first + x) * 255 / most);
      }
    }
  }

  void PutPalette(std::span<const std::uint8_t> bytes, std::uint32_t y, std::uint8_t* row) const noexcept {
    const std::size_t first = std::size_t{y} * m_header.frame.width;
    for (std::uint32_t x = 0; x < m_header.frame.width; ++x) {
      const std::int64_t index = std::int64_t{Value(bytes, first + x)} - m_header.firstColor;
      for (const std::vector<std::uint8_t>& colors : m_header.palette) {
        *row++ = colors[static_cast<std::size_t>(std::clamp<std::int64_t>(index, 0, std::ssize(colors) - 1))];
      }
    }
  }

  void PutColors(std::span<const std::uint8_t> bytes, std::uint32_t y, std::uint8_t* row) const noexcept {
    const std::size_t first = std::size_t{y} * m_header.frame.width;
    if (!IsPlanar()) {
      std::memcpy(row, bytes.data() + first * 3, std::size_t{m_header.frame.width} * 3);
    } else {
      for (std::size_t x = 0; x < m_header.frame.width; ++x) {
        for (std::size_t c = 0; c < 3; ++c) row[3 * x + c] = bytes[c * m_pixels + first + x];
      }
    }
    if (m_header.photometric != "RGB") RgbFromYcc(m_header.frame.width, m_white, row, 3);
  }

  // Segments of bytes, the high ones of a sample first, one sample after the other; to planes of samples in the file's
  // byte order.
  void Unpack(std::span<const std::uint8_t> bytes) {
    constexpr std::size_t kHead = 64;
    Require(bytes.size() >= kHead, "The run lengths of a frame are damaged");
    const std::size_t sampleBytes = m_header.bitsAllocated / 8, segments = m_header.samples * sampleBytes;
    Require(IntegerAt(bytes.data(), 4, false) == segments, "The run lengths of a frame are damaged");
    for (std::size_t i = 0; i < segments; ++i) {
      const auto start = static_cast<std::size_t>(IntegerAt(bytes.data() + 4 + 4 * i, 4, false));
      Require(start >= kHead && start <= bytes.size(), "The run lengths of a frame are damaged");
      const std::size_t place = sampleBytes - 1 - i % sampleBytes;  // little-endian
      UnpackSegment(bytes.subspan(start), m_unpacked.data() + i / sampleBytes * m_pixels * sampleBytes + place,
                    sampleBytes);
    }
  }

  void UnpackSegment(std::span<const std::uint8_t> in, std::uint8_t* out, std::size_t step) const {
    std::size_t at = 0, done = 0;
    while (done < m_pixels) {
      Require(at < in.size(), "The file is truncated: run lengths are missing");
      const std::uint8_t code = in[at++];
      if (code == 128) continue;
      const bool isRun = code > 128;
      const std::size_t count = isRun ? 257u - code : code + 1u;
      Require(in.size() - at >= (isRun ? 1 : count), "The file is truncated: run lengths are missing");
      for (std::size_t i = 0; i < count && done < m_pixels; ++i, ++done) out[done * step] = in[isRun ? at : at + i];
      at += isRun ? 1 : count;
    }
  }

  const SDicomHeader& m_header;
  std::uint32_t m_white;
  std::size_t m_pixels;
  bool m_isSwapped = false;
  std::vector<std::uint8_t> m_unpacked;
};

}  // namespace

std::unique_ptr<CFrameDecoder> OpenNativeFrames(const SDicomHeader& header, const SStoredPixels& pixels,
                                                CRenderGuard& guard) {
  return std::make_unique<CNativeFrames>(header, pixels, guard);
}

}  // namespace imageformats
