#include "platform/imageformats/gif/gif_codec.h"

#include <algorithm>
#include <utility>

#include "platform/imageformats/base/text.h"
#include "platform/imageformats/codec/banded_image.h"
#include "platform/imageformats/gif/gif_blocks.h"
#include "platform/imageformats/gif/gif_frame.h"

namespace imageformats {

namespace {

// The first frame on its canvas; what it does not cover is transparent.
class CGifRows final : public CPixelRows {
 public:
  CGifRows(const CInput& input, const SGifOverview& overview, const SStoredPixels& pixels, CRenderGuard& guard)
      : CPixelRows(pixels, guard),
        m_overview(overview),
        m_components(ModelComponents(pixels.model)),
        m_hasAlpha(pixels.hasAlpha),
        m_frame(input),
        m_colors(m_frame.Colors()) {
    Require(overview.frame.width != 0 && overview.frame.height != 0, "The GIF picture is empty");
    Require(SSize{m_frame.Width(), m_frame.Height()} == overview.frame, "The GIF file has contradictory headers");
    const std::uint64_t rows = overview.interlaced ? overview.frame.height : 1;
    m_indices = guard.NewVector<std::uint8_t>(CRenderGuard::Multiply(overview.frame.width, rows));
    if (overview.interlaced) ReadInterlaced(guard);
  }

 private:
  void ReadInterlaced(const CRenderGuard& guard) {
    constexpr std::uint32_t kStart[] = {0, 4, 2, 1}, kStep[] = {8, 8, 4, 2};
    for (std::size_t pass = 0; pass < 4; ++pass) {
      for (std::uint32_t y = kStart[pass]; y < m_overview.frame.height; y += kStep[pass]) {
        guard.CheckTime();
        m_frame.ReadLine(m_indices.data() + std::size_t{y} * m_overview.frame.width);
      }
    }
  }

  void DecodeRow(std::uint8_t* out) override {
    const std::uint32_t y = m_y++ - m_overview.y;  // wraps above the frame
    const bool isInside = y < m_overview.frame.height;
    const std::uint8_t* indices = m_indices.data();
    if (isInside && m_overview.interlaced) indices += std::size_t{y} * m_overview.frame.width;
    if (isInside && !m_overview.interlaced) m_frame.ReadLine(m_indices.data());
    out = PutEmpty(isInside ? m_overview.x : m_overview.canvas.width, out);
    if (!isInside) return;
    for (std::uint32_t x = 0; x < m_overview.frame.width; ++x) {
      out = m_colors.Put(indices[x], m_components, out);
      if (m_hasAlpha) *out++ = indices[x] == m_overview.transparent ? 0 : 255;
    }
    PutEmpty(m_overview.canvas.width - m_overview.x - m_overview.frame.width, out);
  }

  std::uint8_t* PutEmpty(std::uint32_t pixels, std::uint8_t* out) const {
    return std::fill_n(out, std::size_t{pixels} * (m_components + 1), std::uint8_t{0});
  }

  const SGifOverview& m_overview;
  std::uint32_t m_components;
  bool m_hasAlpha;
  CGifFrame m_frame;
  SColorTable m_colors;
  std::vector<std::uint8_t> m_indices;
  std::uint32_t m_y = 0;
};

class CGifImage final : public CBandedImage {
 public:
  explicit CGifImage(std::shared_ptr<const CInput> input)
      : CBandedImage(std::move(input)), m_overview(ReadGifOverview(Input())) {
    SStoredPixels pixels;
    pixels.size = m_overview.canvas;
    pixels.model = CGifFrame(Input()).Colors().IsGrey() ? EColorModel::kGrey : EColorModel::kRgb;
    pixels.hasAlpha = m_overview.transparent >= 0 || m_overview.frame != m_overview.canvas;
    SetPixels(std::move(pixels), kQvCompressionLossless);
    m_info.sequenceCount = m_overview.frames;
  }

  SImageMetadata Metadata() override {
    SImageMetadata metadata = PlainMetadata(m_info, "GIF", ModelComponents(Pixels().model));
    metadata.text.description = TextOf(Trimmed(m_overview.comment));
    AddLoop(kQvLoopTime, m_overview.frames, m_overview.frameSeconds, &metadata);
    return metadata;
  }

 private:
  std::unique_ptr<IPixelBands> OpenBands(SSize, CRenderGuard& guard) override {
    Require(!m_overview.isTruncated, "The file is truncated: it ends within a frame");
    return std::make_unique<CGifRows>(Input(), m_overview, Pixels(), guard);
  }

  SGifOverview m_overview;
};

class CGifCodecModule final : public CCodecModule {
 public:
  const char* Name() const noexcept override { return "GIF"; }
  bool Matches(const CInput& input) const noexcept override { return IsGif(input); }
  std::unique_ptr<COpenedImage> Open(std::shared_ptr<const CInput> input) const override {
    return std::make_unique<CGifImage>(std::move(input));
  }
};

}  // namespace

const CCodecModule& GifCodec() noexcept {
  static const CGifCodecModule module;
  return module;
}

}  // namespace imageformats
