#include "platform/imageformats/webp/webp_bands.h"

#include <webp/decode.h>

#include <algorithm>
#include <limits>

#include "platform/imageformats/base/format_error.h"

namespace imageformats {

namespace {

// Larger pictures are scaled by libwebp, to averages of their own: twice as large as wanted.
constexpr std::uint64_t kMaxWholeWebpBytes = 96u << 20;
constexpr std::size_t kWebpPiece = 256u << 10;
constexpr std::uint32_t kWebpBandRows = 16;

// libwebp's state, and the only owner of its objects.
class CWebpStream {
 public:
  CWebpStream(const SStoredPixels& pixels, SSize full, SSize scaled, std::uint8_t* out, std::size_t stride) {
    if (!WebPInitDecoderConfig(&m_config)) throw CDamagedError("libwebp is of another version");
    m_config.options.use_threads = 0;
    if (scaled != full) {
      m_config.options.use_scaling = 1;
      m_config.options.scaled_width = static_cast<int>(scaled.width);
      m_config.options.scaled_height = static_cast<int>(scaled.height);
    }
    m_config.output.colorspace = pixels.hasAlpha ? MODE_RGBA : MODE_RGB;
    m_config.output.is_external_memory = 1;
    m_config.output.u.RGBA = {out, static_cast<int>(stride), stride * scaled.height};
    m_decoder.reset(WebPIDecode(nullptr, 0, &m_config));
    if (!m_decoder) throw std::bad_alloc();
  }
  CWebpStream(const CWebpStream&) = delete;
  CWebpStream& operator=(const CWebpStream&) = delete;

  // Piece by piece, so that the time is looked at.
  void Decode(const std::vector<std::uint8_t>& stream, const CRenderGuard& guard) {
    VP8StatusCode status = VP8_STATUS_SUSPENDED;
    for (std::size_t size = 0; size < stream.size() && status == VP8_STATUS_SUSPENDED;) {
      guard.CheckTime();
      size += std::min(kWebpPiece, stream.size() - size);
      status = WebPIUpdate(m_decoder.get(), stream.data(), size);
    }
    Require(status == VP8_STATUS_OK, "The WebP data are damaged");
  }

 private:
  struct SDelete {
    void operator()(WebPIDecoder* decoder) const noexcept { WebPIDelete(decoder); }
  };
  WebPDecoderConfig m_config;
  std::unique_ptr<WebPIDecoder, SDelete> m_decoder;
};

class CWebpBands final : public IPixelBands {
 public:
  CWebpBands(const CInput& input, const SWebpOverview& overview, const SStoredPixels& pixels, SSize wanted,
             CRenderGuard& guard)
      : m_overview(overview), m_pixels(pixels), m_guard(guard), m_scaled(ScaledSize(wanted)) {
    guard.CheckPixels(overview.canvas.width, overview.canvas.height);
    m_stride = std::size_t{m_scaled.width} * pixels.Components();
    m_frame = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(m_stride, m_scaled.height));
    // A lossless picture is held whole by libwebp, and so is opacity.
    const std::uint64_t frame = std::uint64_t{overview.frame.width} * overview.frame.height;
    guard.Reserve(CRenderGuard::Multiply(frame, overview.isLossless ? 4 : pixels.hasAlpha ? 1 : 0));
    std::vector<std::uint8_t> stream = guard.NewVector<std::uint8_t>(overview.streamSize);
    Require(input.ReadAt(overview.stream, stream.data(), stream.size()) == stream.size(), "The file is truncated");
    CWebpStream(pixels, overview.frame, m_scaled, m_frame.data(), m_stride).Decode(stream, guard);
    if (IsPlaced()) {
      m_rows = guard.NewVector<std::uint8_t>(
          CRenderGuard::Multiply(std::uint64_t{overview.canvas.width} * pixels.Components(), kWebpBandRows));
    }
  }

  SSourceAxis AxisX() const noexcept override {
    return PlainAxis(IsPlaced() ? m_overview.canvas.width : m_scaled.width);
  }
  SSourceAxis AxisY() const noexcept override {
    return PlainAxis(IsPlaced() ? m_overview.canvas.height : m_scaled.height);
  }

  bool Next(SPixelBand& band) override {
    const std::uint32_t height = AxisY().pixels;
    if (m_row == height) return false;
    m_guard.CheckTime();
    const std::uint32_t count = std::min(kWebpBandRows, height - m_row);
    if (IsPlaced()) {
      const std::size_t stride = m_rows.size() / kWebpBandRows;
      for (std::uint32_t i = 0; i < count; ++i) PlaceRow(m_row + i, m_rows.data() + i * stride, stride);
      band = {0, m_row, m_overview.canvas.width, count, m_rows.data(), stride};
    } else {
      band = {0, m_row, m_scaled.width, count, m_frame.data() + m_row * m_stride, m_stride};
    }
    m_row += count;
    return true;
  }

 private:
  // Whether the frame is but a part of the canvas.
  bool IsPlaced() const noexcept { return m_overview.frame != m_overview.canvas; }

  SSize ScaledSize(SSize wanted) const noexcept {
    const SSize frame = m_overview.frame;
    const std::uint64_t bytes = std::uint64_t{frame.width} * frame.height * m_pixels.Components();
    if (wanted == SSize{} || IsPlaced() || bytes <= kMaxWholeWebpBytes) return frame;
    return {std::min(frame.width, 2 * wanted.width), std::min(frame.height, 2 * wanted.height)};
  }

  void PlaceRow(std::uint32_t y, std::uint8_t* out, std::size_t size) const {
    std::fill_n(out, size, std::uint8_t{0});
    if (y < m_overview.y || y - m_overview.y >= m_overview.frame.height) return;
    std::copy_n(m_frame.data() + (y - m_overview.y) * m_stride, m_stride,
                out + std::size_t{m_overview.x} * m_pixels.Components());
  }

  const SWebpOverview& m_overview;
  const SStoredPixels& m_pixels;
  CRenderGuard& m_guard;
  SSize m_scaled;
  std::size_t m_stride = 0;
  std::vector<std::uint8_t> m_frame, m_rows;
  std::uint32_t m_row = 0;
};

}  // namespace

std::unique_ptr<IPixelBands> OpenWebpBands(const CInput& input, const SWebpOverview& overview,
                                           const SStoredPixels& pixels, SSize wanted, CRenderGuard& guard) {
  return std::make_unique<CWebpBands>(input, overview, pixels, wanted, guard);
}

}  // namespace imageformats
