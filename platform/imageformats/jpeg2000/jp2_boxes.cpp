#include "platform/imageformats/jpeg2000/jp2_boxes.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/integers.h"

namespace imageformats {

namespace {

constexpr std::uint8_t kJp2Signature[12] = {0, 0, 0, 12, 'j', 'P', ' ', ' ', 0x0D, 0x0A, 0x87, 0x0A};
constexpr std::uint8_t kExifUuid[16] = {'J', 'p', 'g', 'T', 'i', 'f', 'f', 'E', 'x', 'i', 'f', '-', '>', 'J', 'P', '2'};
constexpr std::uint64_t kMaxBoxContent = 4u << 20;
constexpr std::size_t kMaxBoxes = 100000;

constexpr std::uint32_t BoxType(const char (&name)[5]) noexcept {
  std::uint32_t type = 0;
  for (std::size_t i = 0; i < 4; ++i) type = type << 8 | static_cast<unsigned char>(name[i]);
  return type;
}

struct SBox {
  std::uint32_t type = 0;
  std::uint64_t content = 0, end = 0;  // offsets
  std::uint64_t Size() const noexcept { return end - content; }
};

// The box at `offset` within [offset, end); nothing at the end. A codestream that is cut keeps what is there.
std::optional<SBox> BoxAt(const CInput& input, std::uint64_t offset, std::uint64_t end) {
  if (offset + 8 > end) return std::nullopt;
  std::uint64_t size = ReadInteger(input, offset, 4, true), header = 8;
  SBox box;
  box.type = static_cast<std::uint32_t>(ReadInteger(input, offset + 4, 4, true));
  if (size == 1) {
    size = ReadInteger(input, offset + 8, 8, true);
    header = 16;
  }
  if (size == 0) size = end - offset;
  Require(size >= header && header <= end - offset, "A box of the JP2 file is damaged");
  Require(size <= end - offset, "The file is truncated: a box is not complete");
  box.content = offset + header;
  box.end = offset + size;
  return box;
}

using CBoxBytes = std::vector<std::uint8_t>;

CBoxBytes BoxContent(const CInput& input, const SBox& box) {
  if (box.Size() > kMaxBoxContent) return {};
  CBoxBytes bytes(static_cast<std::size_t>(box.Size()));
  bytes.resize(input.ReadAt(box.content, bytes.data(), bytes.size()));
  return bytes;
}

EJp2Color EnumeratedColor(std::uint32_t value) {
  switch (value) {
    case 12:
      return EJp2Color::kCmyk;
    case 16:
      return EJp2Color::kSrgb;
    case 17:
      return EJp2Color::kGrey;
    case 18:
      return EJp2Color::kSycc;
    default:
      return EJp2Color::kOther;
  }
}

// The first one counts (I.5.3.3).
void ReadColor(const CBoxBytes& bytes, SJp2File& file) {
  if (bytes.size() < 3 || file.color != EJp2Color::kUnknown || !file.profile.empty()) return;
  if (bytes[0] == 1 && bytes.size() >= 7) {
    file.color = EnumeratedColor(static_cast<std::uint32_t>(IntegerAt(bytes.data() + 3, 4, true)));
  } else if (bytes[0] == 2) {
    file.profile.assign(bytes.begin() + 3, bytes.end());
  }
}

void ReadPalette(const CBoxBytes& bytes, SJp2File& file) {
  Require(bytes.size() >= 3, "The JP2 file's palette is damaged");
  const auto count = static_cast<std::size_t>(IntegerAt(bytes.data(), 2, true));
  const std::uint32_t columns = bytes[2];
  Require(count >= 1 && count <= 1024 && columns >= 1 && columns <= 4, "The JP2 file's palette is damaged");
  Require(bytes.size() >= 3 + columns, "The JP2 file's palette is damaged");
  file.palette = {columns, std::vector<std::uint8_t>(count * columns)};
  std::size_t at = 3 + columns;
  for (std::size_t i = 0; i < file.palette.entries.size(); ++i) {
    const std::uint32_t bits = (bytes[3 + i % columns] & 0x7Fu) + 1, size = bits > 8 ? 2 : 1;
    Require(bits <= 16 && at + size <= bytes.size(), "The JP2 file's palette is damaged");
    const std::uint64_t most = (1u << bits) - 1, value = std::min(IntegerAt(bytes.data() + at, size, true), most);
    file.palette.entries[i] = static_cast<std::uint8_t>((value * 255 + most / 2) / most);
    at += size;
  }
}

void ReadChannels(const CBoxBytes& bytes, SJp2File& file) {
  if (bytes.size() < 2) return;
  const std::size_t count = std::min<std::size_t>(IntegerAt(bytes.data(), 2, true), (bytes.size() - 2) / 6);
  for (std::size_t i = 0; i < count; ++i) {
    const std::uint8_t* entry = bytes.data() + 2 + 6 * i;
    const std::uint64_t kind = IntegerAt(entry + 2, 2, true);
    if ((kind != 1 && kind != 2) || file.alpha) continue;
    file.alpha = static_cast<std::uint32_t>(IntegerAt(entry, 2, true));
    file.premultiplied = kind == 2;
  }
}

// A numerator, a denominator and a power of ten, for y and for x.
double ResolutionOf(const std::uint8_t* fraction, std::uint8_t exponent) {
  const auto over = static_cast<double>(IntegerAt(fraction, 2, true));
  const auto under = static_cast<double>(IntegerAt(fraction + 2, 2, true));
  return under == 0.0 ? 0.0 : over / under * std::pow(10.0, static_cast<std::int8_t>(exponent));
}

void ReadResolution(const CBoxBytes& bytes, SJp2File& file) {
  if (bytes.size() < 10) return;
  file.pixelsPerMetreY = ResolutionOf(bytes.data(), bytes[8]);
  file.pixelsPerMetreX = ResolutionOf(bytes.data() + 4, bytes[9]);
}

void ReadUuid(const CBoxBytes& bytes, SJp2File& file) {
  if (bytes.size() <= sizeof kExifUuid || std::memcmp(bytes.data(), kExifUuid, sizeof kExifUuid) != 0) return;
  file.exif.assign(bytes.begin() + sizeof kExifUuid, bytes.end());
}

void ReadBoxes(const CInput& input, std::uint64_t start, std::uint64_t end, int depth, SJp2File& file) {
  std::size_t count = 0;
  for (auto box = BoxAt(input, start, end); box && ++count < kMaxBoxes; box = BoxAt(input, box->end, end)) {
    switch (box->type) {
      case BoxType("jp2h"):
      case BoxType("res "):
        if (depth < 2) ReadBoxes(input, box->content, box->end, depth + 1, file);
        break;
      case BoxType("colr"):
        ReadColor(BoxContent(input, *box), file);
        break;
      case BoxType("pclr"):
        ReadPalette(BoxContent(input, *box), file);
        break;
      case BoxType("cdef"):
        ReadChannels(BoxContent(input, *box), file);
        break;
      case BoxType("resc"):
        ReadResolution(BoxContent(input, *box), file);
        break;
      case BoxType("uuid"):
        ReadUuid(BoxContent(input, *box), file);
        break;
      case BoxType("jp2c"):
        if (file.codestream.size == 0) file.codestream = {box->content, box->Size()};
        break;
      default:
        break;
    }
  }
}

}  // namespace

bool IsJp2(const CInput& input) noexcept {
  const auto head = input.Head();
  if (IsCodestream(head.data(), head.size())) return true;
  return head.size() >= sizeof kJp2Signature && std::memcmp(head.data(), kJp2Signature, sizeof kJp2Signature) == 0;
}

SJp2File ReadJp2File(const CInput& input) {
  Require(IsJp2(input), "The file is not a JPEG 2000 file");
  SJp2File file;
  if (IsCodestream(input.Head().data(), input.Head().size())) {
    file.codestream = {0, input.Size()};
    return file;
  }
  ReadBoxes(input, 0, input.Size(), 0, file);
  Require(file.codestream.size != 0, "The JP2 file has no picture");
  return file;
}

}  // namespace imageformats
