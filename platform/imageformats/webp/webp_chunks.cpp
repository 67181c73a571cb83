#include "platform/imageformats/webp/webp_chunks.h"

#include <webp/decode.h>

#include <algorithm>
#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::uint64_t kMaxWebpMetadata = 4u << 20;

constexpr std::uint32_t WebpTag(const char (&name)[5]) noexcept {
  std::uint32_t tag = 0;
  for (std::size_t i = 4; i-- > 0;) tag = tag << 8 | static_cast<unsigned char>(name[i]);
  return tag;
}

std::uint32_t Little(const CInput& input, std::uint64_t offset, std::size_t size) {
  return static_cast<std::uint32_t>(ReadInteger(input, offset, size, false));
}

class CWebpWalker {
 public:
  explicit CWebpWalker(const CInput& input) : m_input(input) {}

  SWebpOverview Walk() {
    constexpr std::uint64_t kFirstChunk = 12;
    const std::uint64_t claimed = 8 + std::uint64_t{Little(m_input, 4, 4)};
    m_overview.isTruncated = claimed > m_input.Size();
    WalkChunks(kFirstChunk, std::min(claimed, m_input.Size()), true);
    Require(m_overview.frames != 0, "The WebP file has no picture");
    if (m_uneven) m_overview.frameSeconds = 0.0;
    const SSize frame = m_overview.frame;
    SSize& canvas = m_overview.canvas;
    canvas = {std::max(canvas.width, m_overview.x + frame.width), std::max(canvas.height, m_overview.y + frame.height)};
    m_overview.hasAlpha = m_overview.hasAlpha || canvas != frame;
    return std::move(m_overview);
  }

 private:
  // Of the file, or of a frame of an animation.
  void WalkChunks(std::uint64_t at, std::uint64_t end, bool isOuter) {
    while (at + 8 <= end) {
      const std::uint32_t tag = Little(m_input, at, 4), size = Little(m_input, at + 4, 4);
      if (size > end - at - 8) {
        m_overview.isTruncated = true;
        return;
      }
      Take(tag, at, size, isOuter);
      at += 8 + std::uint64_t{size} + size % 2;
    }
    m_overview.isTruncated = m_overview.isTruncated || at < end;
  }

  void Take(std::uint32_t tag, std::uint64_t at, std::uint32_t size, bool isOuter) {
    const std::uint64_t content = at + 8;
    if (tag == WebpTag("ALPH")) {
      if (m_overview.frames == 0) m_alpha = at;
    } else if (tag == WebpTag("VP8 ") || tag == WebpTag("VP8L")) {
      TakePixels(tag, at, size);
    } else if (!isOuter) {
      return;
    } else if (tag == WebpTag("VP8X") && size >= 10) {
      m_overview.canvas = {Little(m_input, content + 4, 3) + 1, Little(m_input, content + 7, 3) + 1};
    } else if (tag == WebpTag("ANMF") && size >= 16) {
      TakeFrame(content, size);
    } else if (tag == WebpTag("ICCP")) {
      m_overview.profile = Content(content, size);
    } else if (tag == WebpTag("EXIF")) {
      m_overview.exif = Content(content, size);
    }
  }

  void TakeFrame(std::uint64_t content, std::uint32_t size) {
    const double seconds = Little(m_input, content + 12, 3) / 1000.0;
    if (m_overview.frames == 0) {
      m_overview.x = 2 * Little(m_input, content, 3);
      m_overview.y = 2 * Little(m_input, content + 3, 3);
      m_overview.frameSeconds = seconds;
    }
    m_uneven = m_uneven || seconds != m_overview.frameSeconds;
    WalkChunks(content + 16, content + size, false);
  }

  void TakePixels(std::uint32_t tag, std::uint64_t at, std::uint32_t size) {
    if (++m_overview.frames != 1) return;
    const std::uint64_t start = m_alpha != 0 ? m_alpha : at;
    m_overview.stream = start;
    m_overview.streamSize = at + 8 + size - start;
    m_overview.isLossless = tag == WebpTag("VP8L");
    std::uint8_t head[64];
    const std::size_t count = m_input.ReadAt(at, head, std::min<std::size_t>(sizeof head, 8 + std::size_t{size}));
    WebPBitstreamFeatures features;
    Require(WebPGetFeatures(head, count, &features) == VP8_STATUS_OK && features.width > 0 && features.height > 0,
            "The WebP data are damaged");
    m_overview.frame = {static_cast<std::uint32_t>(features.width), static_cast<std::uint32_t>(features.height)};
    m_overview.hasAlpha = m_alpha != 0 || features.has_alpha != 0;
  }

  std::vector<std::uint8_t> Content(std::uint64_t content, std::uint32_t size) const {
    std::vector<std::uint8_t> bytes(std::min<std::uint64_t>(size, kMaxWebpMetadata));
    bytes.resize(m_input.ReadAt(content, bytes.data(), bytes.size()));
    return bytes;
  }

  const CInput& m_input;
  SWebpOverview m_overview;
  std::uint64_t m_alpha = 0;  // of the chunk of opacity before the pixels
  bool m_uneven = false;
};

}  // namespace

bool IsWebp(const CInput& input) noexcept {
  const auto head = input.Head();
  return head.size() >= 16 && std::memcmp(head.data(), "RIFF", 4) == 0 &&
         std::memcmp(head.data() + 8, "WEBPVP8", 7) == 0;
}

SWebpOverview ReadWebpOverview(const CInput& input) {
  Require(IsWebp(input), "The file is not a WebP file");
  return CWebpWalker(input).Walk();
}

}  // namespace imageformats
