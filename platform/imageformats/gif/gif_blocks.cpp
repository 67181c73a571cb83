#include "platform/imageformats/gif/gif_blocks.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/imageformats/base/buffered_input.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::size_t kMaxGifComment = 65536;
constexpr int kGifExtension = 0x21, kGifImage = 0x2C;
constexpr int kGifControl = 0xF9, kGifComment = 0xFE;

class CGifWalker {
 public:
  explicit CGifWalker(const CInput& input) : m_input(input, 6), m_size(input.Size()) {}

  SGifOverview Walk() {
    ReadScreen();
    while (Step()) {
    }
    Require(m_overview.frames != 0, "The GIF file has no picture");
    m_overview.isTruncated = m_input.Position() > m_size || m_ended || m_announced;
    if (m_uneven) m_overview.frameSeconds = 0.0;
    return m_overview;
  }

 private:
  void ReadScreen() {
    std::array<std::uint8_t, 7> screen{};
    Take(screen.data(), screen.size());
    m_overview.canvas = {Word(screen.data()), Word(screen.data() + 2)};
    SkipColors(screen[4]);
  }

  // False at the trailer, and at anything that is no block.
  bool Step() {
    const int kind = m_input.Get();
    if (kind == kGifExtension) {
      ReadExtension();
    } else if (kind == kGifImage) {
      ReadImage();
    } else {
      return false;
    }
    return !m_ended;
  }

  void ReadExtension() {
    std::uint8_t kind = 0;
    Take(&kind, 1);
    std::array<std::uint8_t, 255> block;
    for (bool isFirst = true;; isFirst = false) {
      std::uint8_t size = 0;
      Take(&size, 1);
      Take(block.data(), size);
      if (size == 0 || m_ended) return;
      if (kind == kGifControl && isFirst && size == 4) ReadControl(block.data());
      if (kind == kGifComment && m_overview.comment.size() < kMaxGifComment) {
        m_overview.comment.append(reinterpret_cast<const char*>(block.data()), size);
      }
    }
  }

  void ReadControl(const std::uint8_t* block) {
    m_delay = Word(block + 1) / 100.0;
    m_announced = true;
    if (m_overview.frames == 0) m_overview.transparent = (block[0] & 1) != 0 ? block[3] : -1;
  }

  void ReadImage() {
    std::array<std::uint8_t, 9> place{};
    Take(place.data(), place.size());
    SkipColors(place[8]);
    std::uint8_t size = 0;
    Take(&size, 1);  // of the first codes
    do {
      Take(&size, 1);
      m_input.Skip(size);
    } while (size != 0 && !m_ended && m_input.Position() <= m_size);
    if (++m_overview.frames == 1) {
      SetFirst(place.data());
      m_overview.frameSeconds = m_delay;
    }
    m_uneven = m_uneven || m_delay != m_overview.frameSeconds;
    m_delay = 0.0;
    m_announced = false;
  }

  void SetFirst(const std::uint8_t* place) {
    m_overview.x = Word(place);
    m_overview.y = Word(place + 2);
    m_overview.frame = {Word(place + 4), Word(place + 6)};
    m_overview.interlaced = (place[8] & 0x40) != 0;
    SSize& canvas = m_overview.canvas;
    canvas.width = std::max(canvas.width, m_overview.x + m_overview.frame.width);
    canvas.height = std::max(canvas.height, m_overview.y + m_overview.frame.height);
  }

  void SkipColors(std::uint8_t flags) {
    if ((flags & 0x80) != 0) m_input.Skip(3u << ((flags & 7) + 1));
  }
  void Take(std::uint8_t* out, std::size_t size) { m_ended = m_input.Read(out, size) != size || m_ended; }
  static std::uint32_t Word(const std::uint8_t* bytes) {
    return static_cast<std::uint32_t>(IntegerAt(bytes, 2, false));
  }

  CBufferedInput m_input;
  std::uint64_t m_size;
  SGifOverview m_overview;
  double m_delay = 0.0;
  bool m_announced = false;  // a frame is to follow
  bool m_uneven = false;
  bool m_ended = false;
};

}  // namespace

bool IsGif(const CInput& input) noexcept {
  const auto head = input.Head();
  return head.size() >= 13 &&
         (std::memcmp(head.data(), "GIF87a", 6) == 0 || std::memcmp(head.data(), "GIF89a", 6) == 0);
}

SGifOverview ReadGifOverview(const CInput& input) {
  Require(IsGif(input), "The file is not a GIF file");
  return CGifWalker(input).Walk();
}

}  // namespace imageformats
