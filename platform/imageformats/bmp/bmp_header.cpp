#include "platform/imageformats/bmp/bmp_header.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::size_t kBmpFileHeader = 14;
constexpr std::uint32_t kBmpCoreHeader = 12;  // OS/2 1.x
constexpr std::uint32_t kBmpInfoHeader = 40;  // Windows 3
constexpr std::uint32_t kBmpV4Header = 108;
constexpr std::uint32_t kBmpV5Header = 124;
constexpr std::uint32_t kEmbeddedProfile = 0x4D424544;
constexpr std::uint32_t kMaxBmpProfile = 4u << 20;

enum EBmpCompression : std::uint32_t {
  kBmpRgb = 0,
  kBmpRle8 = 1,
  kBmpRle4 = 2,
  kBmpBitFields = 3,  // OS/2: fax
  kBmpJpeg = 4,       // OS/2: run lengths of 24 bits
  kBmpPng = 5,
  kBmpAlphaBitFields = 6,
};

// The fields that all headers share.
struct SBmpFields {
  std::uint64_t start = 0;  // of the bitmap's header
  std::uint32_t headerSize = 0;
  std::int64_t width = 0, height = 0;
  std::uint32_t planes = 0, bits = 0, compression = kBmpRgb, colorsUsed = 0;

  bool IsCore() const noexcept { return headerSize == kBmpCoreHeader; }
  bool IsOs2() const noexcept {
    return headerSize < kBmpInfoHeader || (headerSize > 56 && headerSize <= 64) || IsShortOs2();
  }
  // OS/2 2.x may end its header anywhere between two fields.
  bool IsShortOs2() const noexcept { return headerSize == 42 || headerSize == 46 || headerSize == 48; }
};

std::uint64_t BitmapStart(const CInput& input) {
  const auto head = input.Head();
  const bool isArray = head.size() > 2 && head[0] == 'B' && head[1] == 'A';
  return isArray ? kBmpFileHeader : 0;
}

std::uint32_t BmpField(const CInput& input, std::uint64_t offset, std::size_t size = 4) {
  return static_cast<std::uint32_t>(ReadInteger(input, offset, size, false));
}

SBmpFields ReadFields(const CInput& input) {
  SBmpFields fields;
  fields.start = BitmapStart(input) + kBmpFileHeader;
  const std::uint64_t at = fields.start;
  fields.headerSize = BmpField(input, at);
  if (fields.IsCore()) {
    fields.width = BmpField(input, at + 4, 2);
    fields.height = static_cast<std::int16_t>(BmpField(input, at + 6, 2));
    fields.planes = BmpField(input, at + 8, 2);
    fields.bits = BmpField(input, at + 10, 2);
    return fields;
  }
  fields.width = static_cast<std::int32_t>(BmpField(input, at + 4));
  fields.height = static_cast<std::int32_t>(BmpField(input, at + 8));
  fields.planes = BmpField(input, at + 12, 2);
  fields.bits = BmpField(input, at + 14, 2);
  if (fields.headerSize >= 20) fields.compression = BmpField(input, at + 16);
  if (fields.headerSize >= 36) fields.colorsUsed = BmpField(input, at + 32);
  return fields;
}

bool IsKnownHeaderSize(std::uint32_t size) {
  return size == kBmpCoreHeader || (size >= 16 && size <= 64) || size == kBmpV4Header || size == kBmpV5Header;
}

bool IsKnownDepth(std::uint32_t bits) {
  return bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

SBmpMask MaskOf(std::uint32_t bits) {
  if (bits == 0) return {};
  const auto shift = static_cast<std::uint32_t>(std::countr_zero(bits));
  const std::uint32_t most = bits >> shift;
  Require(std::has_single_bit(std::uint64_t{most} + 1), "The BMP file's bit fields are damaged");
  return {shift, most};
}

// Behind a header of 40 bytes, or in the longer ones: the same place.
std::array<SBmpMask, 4> ReadMasks(const CInput& input, const SBmpFields& fields, bool hasAlpha) {
  std::array<SBmpMask, 4> masks;
  for (std::size_t i = 0; i < (hasAlpha ? 4u : 3u); ++i) {
    masks[i] = MaskOf(BmpField(input, fields.start + kBmpInfoHeader + 4 * i));
  }
  Require(masks[0].most != 0 && masks[1].most != 0 && masks[2].most != 0, "The BMP file's bit fields are damaged");
  return masks;
}

void ReadCompression(const CInput& input, const SBmpFields& fields, SBmpHeader& header) {
  const bool isDirect = fields.bits == 16 || fields.bits == 32;
  const bool isWindows = !fields.IsOs2();
  if (fields.compression == kBmpRgb) {
    if (fields.bits == 16) header.masks = {MaskOf(0x7C00), MaskOf(0x3E0), MaskOf(0x1F), {}};
    if (fields.bits == 32) header.masks = {MaskOf(0xFF0000), MaskOf(0xFF00), MaskOf(0xFF), {}};
  } else if (fields.compression == kBmpRle8 && fields.bits == 8) {
    header.coding = EBmpCoding::kRle8;
  } else if (fields.compression == kBmpRle4 && fields.bits == 4) {
    header.coding = EBmpCoding::kRle4;
  } else if (fields.compression == kBmpBitFields && isDirect && isWindows) {
    header.masks = ReadMasks(input, fields, fields.headerSize >= 56);
  } else if (fields.compression == kBmpAlphaBitFields && isDirect && isWindows) {
    header.masks = ReadMasks(input, fields, true);
  } else if (fields.compression == kBmpJpeg && isWindows) {
    throw CUnsupportedError("A JPEG stream in a BMP file is not supported");
  } else if (fields.compression == kBmpPng) {
    throw CUnsupportedError("A PNG stream in a BMP file is not supported");
  } else {
    throw CUnsupportedError("The BMP file's compression is not supported");
  }
}

// Where a palette or the pixels may begin: behind the header, and the bit fields that stand outside of it.
std::uint64_t BehindHeader(const SBmpFields& fields) {
  std::uint64_t end = fields.start + fields.headerSize;
  if (fields.headerSize == kBmpInfoHeader && fields.compression == kBmpBitFields) end += 12;
  if (fields.headerSize == kBmpInfoHeader && fields.compression == kBmpAlphaBitFields) end += 16;
  return end;
}

void ReadColors(const CInput& input, const SBmpFields& fields, SBmpHeader& header) {
  const std::uint64_t start = BehindHeader(fields);
  const std::uint32_t entry = fields.IsCore() ? 3 : 4, possible = 1u << fields.bits;
  std::uint64_t count = fields.colorsUsed == 0 ? possible : std::min(fields.colorsUsed, possible);
  if (header.pixels > start) count = std::min<std::uint64_t>(count, (header.pixels - start) / entry);
  header.colors.count = static_cast<std::uint32_t>(count);
  if (header.pixels == 0) header.pixels = start + count * entry;
  std::array<std::uint8_t, 1024> bytes;
  const auto size = static_cast<std::size_t>(count * entry);
  Require(input.ReadAt(start, bytes.data(), size) == size, "The BMP file ends in its palette");
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* color = bytes.data() + i * entry;
    header.colors.colors[i] = {color[2], color[1], color[0]};
  }
}

std::vector<std::uint8_t> ReadBmpProfile(const CInput& input, const SBmpFields& fields) {
  if (fields.headerSize != kBmpV5Header || BmpField(input, fields.start + 56) != kEmbeddedProfile) return {};
  const std::uint64_t offset = fields.start + BmpField(input, fields.start + 112);
  std::vector<std::uint8_t> profile(std::min(BmpField(input, fields.start + 116), kMaxBmpProfile));
  if (profile.empty() || input.ReadAt(offset, profile.data(), profile.size()) != profile.size()) return {};
  return profile;
}

}  // namespace

bool IsBmp(const CInput& input) noexcept {
  const auto head = input.Head();
  const std::uint64_t at = BitmapStart(input);
  if (head.size() < at + kBmpFileHeader + kBmpCoreHeader || head[at] != 'B' || head[at + 1] != 'M') return false;
  const SBmpFields fields = ReadFields(input);
  return IsKnownHeaderSize(fields.headerSize) && fields.planes == 1 && fields.bits <= 64;
}

SBmpHeader ReadBmpHeader(const CInput& input) {
  Require(IsBmp(input), "The file is not a BMP file");
  const SBmpFields fields = ReadFields(input);
  Require(BehindHeader(fields) <= input.Size(), "The file ends in its header");
  constexpr std::int64_t kMaxSide = 0x7FFFFFFF;
  Require(fields.width > 0 && fields.height != 0 && fields.height >= -kMaxSide,
          "The BMP picture has an impossible size");
  SBmpHeader header;
  header.size = {static_cast<std::uint32_t>(fields.width),
                 static_cast<std::uint32_t>(fields.height < 0 ? -fields.height : fields.height)};
  header.topDown = fields.height < 0;
  header.bits = fields.bits;
  ReadCompression(input, fields, header);
  if (!IsKnownDepth(fields.bits)) throw CUnsupportedError("The BMP file's depth is not supported");
  Require(header.coding == EBmpCoding::kPlain || !header.topDown, "The BMP header is damaged");
  header.pixels = BmpField(input, fields.start - 4);
  if (fields.bits <= 8) {
    ReadColors(input, fields, header);
  } else if (header.pixels == 0) {
    header.pixels = BehindHeader(fields);
  }
  header.profile = ReadBmpProfile(input, fields);
  return header;
}

}  // namespace imageformats
