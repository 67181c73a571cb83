#include "platform/imageformats/png/png_header.h"

#include <algorithm>
#include <optional>
#include <string_view>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/png/png_chunks.h"

namespace imageformats {

namespace {

constexpr std::size_t kMaxAncillaryBytes = 4u << 20;  // bytes of one descriptive chunk, packed or not
constexpr std::size_t kMaxTexts = 1000;
constexpr std::size_t kMaxTextBytes = 16u << 20;  // of all texts, unpacked
constexpr std::size_t kMaxChunks = 1000000;
constexpr std::uint32_t kMaxPngSide = 0x7FFFFFFFu;  // ISO/IEC 15948, 11.2.2

using SBytes = std::vector<std::uint8_t>;

bool IsDepthAllowed(std::uint8_t colorType, std::uint8_t depth) {
  switch (colorType) {
    case kPngGrey:
      return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case kPngPalette:
      return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case kPngRgb:
    case kPngGreyAlpha:
    case kPngRgba:
      return depth == 8 || depth == 16;
    default:
      return false;
  }
}

SPngHeader ParseHeader(const SBytes& content) {
  if (content.size() != 13) throw CDamagedError("The PNG header is damaged");
  SPngHeader header;
  header.width = PngWord(content.data());
  header.height = PngWord(content.data() + 4);
  header.bitDepth = content[8];
  header.colorType = content[9];
  header.interlaced = content[12] == 1;
  if (header.width == 0 || header.height == 0 || header.width > kMaxPngSide || header.height > kMaxPngSide) {
    throw CDamagedError("The PNG picture has an impossible size");
  }
  if (!IsDepthAllowed(header.colorType, header.bitDepth) || content[10] != 0 || content[11] != 0 || content[12] > 1) {
    throw CDamagedError("The PNG header is damaged");
  }
  return header;
}

// iCCP and zTXt: a keyword, a zero byte, the method (0), a zlib stream.
std::optional<SBytes> InflateNamed(const SBytes& content) {
  const auto zero = std::find(content.begin(), content.end(), std::uint8_t{0});
  if (content.end() - zero < 3 || zero[1] != 0) return std::nullopt;
  return Inflate({zero + 2, content.end()}, kMaxAncillaryBytes);
}

void ParseAncillary(const SPngChunk& chunk, SBytes content, SPngHeader& header) {
  switch (chunk.tag) {
    case PngTag("tRNS"):
      if ((header.colorType & 4) == 0) header.transparency = std::move(content);
      break;
    case PngTag("sBIT"):
      for (const std::uint8_t bits : content) header.significantBits = std::max(header.significantBits, bits);
      break;
    case PngTag("gAMA"):
      if (content.size() == 4) header.gamma = PngWord(content.data()) / 100000.0;
      break;
    case PngTag("sRGB"):
      header.isSrgb = true;
      break;
    case PngTag("iCCP"):
      // There is one at most (11.3.2.3); a damaged first one is not made up for.
      if (header.hasProfileChunk) break;
      header.hasProfileChunk = true;
      if (auto profile = InflateNamed(content)) header.profile = std::move(*profile);
      break;
    case PngTag("eXIf"):
      header.exif = std::move(content);
      break;
    default:
      break;
  }
}

void CheckPalette(SPngHeader& header) {
  if (header.colorType == kPngPalette && (header.palette.empty() || header.palette.size() % 3 != 0)) {
    throw CDamagedError("The PNG file's palette is missing or damaged");
  }
  const std::size_t needed = header.colorType == kPngRgb ? 6 : header.colorType == kPngGrey ? 2 : 1;
  if (header.transparency.size() < needed) header.transparency.clear();
  if (header.significantBits > header.bitDepth) header.significantBits = 0;
}

std::string_view Chars(const SBytes& content, std::size_t from = 0) {
  return {reinterpret_cast<const char*>(content.data()) + from, content.size() - from};
}

// tEXt, zTXt and iTXt (11.3.4).
std::optional<std::wstring> TextContent(std::uint32_t tag, const SBytes& content, std::size_t keyword) {
  if (tag == PngTag("tEXt")) return TextOfLatin1(Chars(content, std::min(keyword + 1, content.size()))).Str();
  if (tag == PngTag("zTXt")) {
    const auto text = InflateNamed(content);
    return text ? std::optional(TextOfLatin1(Chars(*text)).Str()) : std::nullopt;
  }
  if (content.size() < keyword + 5) return std::nullopt;
  const bool packed = content[keyword + 1] != 0;
  auto from = std::find(content.begin() + static_cast<std::ptrdiff_t>(keyword) + 3, content.end(), std::uint8_t{0});
  if (from != content.end()) from = std::find(from + 1, content.end(), std::uint8_t{0});
  if (from == content.end()) return std::nullopt;
  SBytes text(from + 1, content.end());
  if (packed) {
    auto inflated = Inflate(text, kMaxAncillaryBytes);
    if (!inflated) return std::nullopt;
    text = std::move(*inflated);
  }
  return TextOf(Chars(text)).Str();
}

// What unpacking may have cost, of a text that came to nothing.
std::size_t MostUnpacked(const SBytes& content) { return std::min(content.size() * 1032, kMaxAncillaryBytes); }

// `left` is what all texts to come may take, in characters.
void ParseText(const SPngChunk& chunk, const SBytes& content, SPngTexts& texts, std::size_t& left) {
  if (chunk.tag == PngTag("tIME")) {
    if (content.size() == 7) {
      texts.modified = {content[0] * 256 + content[1], content[2], content[3], content[4], content[5], content[6]};
    }
    return;
  }
  const std::string keyword(Chars(content).substr(0, Chars(content).find('\0')));
  if (keyword.empty() || keyword.size() > 79 || texts.texts.size() >= kMaxTexts || left == 0) return;
  auto text = TextContent(chunk.tag, content, keyword.size());
  left -= std::min(left, text ? text->size() : MostUnpacked(content));
  if (text) texts.texts.emplace_back(keyword, std::move(*text));
}

bool IsTextChunk(std::uint32_t tag) {
  return tag == PngTag("tEXt") || tag == PngTag("zTXt") || tag == PngTag("iTXt") || tag == PngTag("tIME");
}

}  // namespace

std::uint32_t SPngHeader::StoredChannels() const noexcept {
  switch (colorType) {
    case kPngRgb:
      return 3;
    case kPngGreyAlpha:
      return 2;
    case kPngRgba:
      return 4;
    default:
      return 1;
  }
}

std::uint64_t SPngHeader::RowBytes() const noexcept {
  return (std::uint64_t{width} * StoredChannels() * bitDepth + 7) / 8;
}

SPngHeader ReadPngHeader(const CInput& input) {
  auto chunk = IsPng(input) ? FirstPngChunk(input) : std::nullopt;
  if (!chunk || chunk->tag != PngTag("IHDR")) throw CDamagedError("The file is not a PNG file");
  const auto content = ReadPngContent(input, *chunk, 13);
  if (!content) throw CDamagedError("The PNG header is damaged");
  SPngHeader header = ParseHeader(*content);
  for (std::size_t count = 0; count < kMaxChunks; ++count) {
    chunk = NextPngChunk(input, *chunk);
    if (!chunk || chunk->tag == PngTag("IEND")) break;
    if (chunk->tag == PngTag("IDAT")) {
      header.firstIdat = chunk->data - 8;
      CheckPalette(header);
      return header;
    }
    if (IsTextChunk(chunk->tag)) continue;
    auto bytes = ReadPngContent(input, *chunk, chunk->tag == PngTag("PLTE") ? 768 : kMaxAncillaryBytes);
    if (!bytes && chunk->IsCritical()) throw CDamagedError("The PNG file is damaged");
    if (!bytes) continue;
    if (chunk->tag == PngTag("PLTE")) {
      header.palette = std::move(*bytes);
    } else {
      ParseAncillary(*chunk, std::move(*bytes), header);
    }
  }
  throw CDamagedError("The PNG file ends before its picture begins");
}

SPngTexts ReadPngTexts(const CInput& input) {
  SPngTexts texts;
  std::size_t left = kMaxTextBytes;
  auto chunk = IsPng(input) ? FirstPngChunk(input) : std::nullopt;
  for (std::size_t count = 0; chunk && count < kMaxChunks; ++count) {
    if (IsTextChunk(chunk->tag)) {
      if (const auto content = ReadPngContent(input, *chunk, kMaxAncillaryBytes))
        ParseText(*chunk, *content, texts, left);
    }
    chunk = NextPngChunk(input, *chunk);
  }
  return texts;
}

}  // namespace imageformats
