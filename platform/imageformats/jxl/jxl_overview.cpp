#include "platform/imageformats/jxl/jxl_overview.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/jxl/jxl_stream.h"

namespace imageformats {

namespace {

constexpr std::size_t kMostJxlMetadata = 4u << 20;
constexpr std::size_t kFirstJxlBoxBuffer = 16u << 10;

bool IsSrgb(const JxlColorEncoding& encoding) noexcept {
  const bool isGrey = encoding.color_space == JXL_COLOR_SPACE_GRAY;
  return (isGrey || (encoding.color_space == JXL_COLOR_SPACE_RGB && encoding.primaries == JXL_PRIMARIES_SRGB)) &&
         encoding.white_point == JXL_WHITE_POINT_D65 && encoding.transfer_function == JXL_TRANSFER_FUNCTION_SRGB;
}

class CJxlScanner {
 public:
  explicit CJxlScanner(const CInput& input)
      : m_stream(input, JXL_DEC_BASIC_INFO | JXL_DEC_COLOR_ENCODING | JXL_DEC_FRAME | JXL_DEC_BOX, nullptr),
        m_library(m_stream.Library()),
        m_decoder(m_stream.Decoder()) {
    Require(m_library.setDecompressBoxes(m_decoder, JXL_TRUE) == JXL_DEC_SUCCESS, "libjxl refuses to decode");
  }

  SJxlOverview Scan() {
    for (;;) {
      switch (m_stream.Next()) {
        case JXL_DEC_BASIC_INFO:
          TakeBasicInfo();
          break;
        case JXL_DEC_COLOR_ENCODING:
          TakeColor();
          break;
        case JXL_DEC_FRAME:
          TakeFrame();
          break;
        case JXL_DEC_BOX:
          EndBox();
          BeginBox();
          break;
        case JXL_DEC_BOX_NEED_MORE_OUTPUT:
          ExtendBox();
          break;
        case JXL_DEC_SUCCESS:
          EndBox();
          Require(m_overview.frames != 0, "The JPEG XL file has no picture");
          return std::move(m_overview);
        default:
          throw CDamagedError("The JPEG XL data are damaged");
      }
    }
  }

 private:
  void TakeBasicInfo() {
    JxlBasicInfo info;
    Require(m_library.getBasicInfo(m_decoder, &info) == JXL_DEC_SUCCESS, "The JPEG XL header is damaged");
    m_overview.size = {info.xsize, info.ysize};
    m_overview.orientation = static_cast<int>(info.orientation);
    m_overview.colors = info.num_color_channels;
    m_overview.extraChannels = info.num_extra_channels;
    m_overview.bits = info.bits_per_sample;
    m_overview.isFloat = info.exponent_bits_per_sample != 0;
    m_overview.hasAlpha = info.alpha_bits != 0;
    m_overview.premultiplied = info.alpha_premultiplied != JXL_FALSE;
    if (info.have_animation && info.animation.tps_numerator != 0) {
      m_tickSeconds = static_cast<double>(info.animation.tps_denominator) / info.animation.tps_numerator;
    }
    for (std::uint32_t i = 0; i < info.num_extra_channels; ++i) {
      JxlExtraChannelInfo channel;
      Require(m_library.getExtraChannelInfo(m_decoder, i, &channel) == JXL_DEC_SUCCESS,
              "The JPEG XL header is damaged");
      m_overview.hasBlack = m_overview.hasBlack || channel.type == JXL_CHANNEL_BLACK;
    }
  }

  void TakeColor() {
    const JxlPixelFormat format{m_overview.colors, JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    JxlColorEncoding encoding;
    if (m_library.getColorAsEncodedProfile(m_decoder, &format, JXL_COLOR_PROFILE_TARGET_DATA, &encoding) ==
            JXL_DEC_SUCCESS &&
        IsSrgb(encoding)) {
      return;
    }
    std::size_t size = 0;
    if (m_library.getIccProfileSize(m_decoder, &format, JXL_COLOR_PROFILE_TARGET_DATA, &size) != JXL_DEC_SUCCESS ||
        size > kMostJxlMetadata) {
      return;
    }
    std::vector<std::uint8_t> profile(size);
    if (m_library.getColorAsIccProfile(m_decoder, &format, JXL_COLOR_PROFILE_TARGET_DATA, profile.data(), size) ==
        JXL_DEC_SUCCESS) {
      m_overview.profile = std::move(profile);
    }
  }

  void TakeFrame() {
    JxlFrameHeader header;
    Require(m_library.getFrameHeader(m_decoder, &header) == JXL_DEC_SUCCESS, "A JPEG XL frame is damaged");
    const double seconds = header.duration * m_tickSeconds;
    if (m_overview.frames++ == 0) m_overview.frameSeconds = m_firstSeconds = seconds;
    if (seconds != m_firstSeconds) m_overview.frameSeconds = 0.0;
  }

  void BeginBox() {
    JxlBoxType type;
    if (m_library.getBoxType(m_decoder, type, JXL_TRUE) != JXL_DEC_SUCCESS) return;
    if (std::string_view(type, sizeof type) != "Exif" || !m_overview.exif.empty()) return;
    m_box.resize(kFirstJxlBoxBuffer);
    m_isInBox = m_library.setBoxBuffer(m_decoder, m_box.data(), m_box.size()) == JXL_DEC_SUCCESS;
  }

  void ExtendBox() {
    const std::size_t filled = m_box.size() - m_library.releaseBoxBuffer(m_decoder);
    Require(m_box.size() < kMostJxlMetadata, "A JPEG XL file's description is too large");
    m_box.resize(2 * m_box.size());
    Require(m_library.setBoxBuffer(m_decoder, m_box.data() + filled, m_box.size() - filled) == JXL_DEC_SUCCESS,
            "The JPEG XL data are damaged");
  }

  // EXIF stands behind the offset of its header.
  void EndBox() {
    if (!std::exchange(m_isInBox, false)) return;
    constexpr std::size_t kOffsetBytes = 4;
    m_box.resize(m_box.size() - m_library.releaseBoxBuffer(m_decoder));
    if (m_box.size() > kOffsetBytes) m_overview.exif.assign(m_box.begin() + kOffsetBytes, m_box.end());
  }

  CJxlStream m_stream;
  const SJxlLibrary& m_library;
  JxlDecoder* m_decoder;
  SJxlOverview m_overview;
  double m_tickSeconds = 0.0, m_firstSeconds = 0.0;
  bool m_isInBox = false;
  std::vector<std::uint8_t> m_box;
};

}  // namespace

bool IsJxl(const CInput& input) noexcept {
  constexpr std::uint8_t kContainer[] = {0, 0, 0, 12, 'J', 'X', 'L', ' ', '\r', '\n', 0x87, '\n'};
  constexpr std::uint8_t kCodestream[] = {0xFF, 0x0A};
  const auto head = input.Head();
  const auto begins = [&](const auto& signature) {
    return head.size() >= sizeof signature && std::memcmp(head.data(), signature, sizeof signature) == 0;
  };
  return begins(kContainer) || begins(kCodestream);
}

SJxlOverview ReadJxlOverview(const CInput& input) { return CJxlScanner(input).Scan(); }

}  // namespace imageformats
