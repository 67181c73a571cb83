#include "platform/imageformats/mrc/mrc_header.h"

#include <algorithm>
#include <cmath>

#include "platform/imageformats/arrays/header_fields.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

constexpr double kMicrometresPerAngstrom = 1e-4;
constexpr std::size_t kSignatureAt = 208, kMachineStampAt = 212, kLabelsAt = 224;
constexpr int kFirstVolumeStack = 401, kLastVolumeStack = 630;  // "space groups" of volumes in a row

bool HasSignature(std::span<const std::uint8_t> head) noexcept {
  return CHeaderFields(head, false).Text(kSignatureAt, 3) == "MAP";
}

// Bits of a pixel; 0 for an unknown mode.
std::uint32_t BitsOf(std::int32_t mode) noexcept {
  switch (mode) {
    case kMrcNibbles:
      return 4;
    case kMrcBytes:
      return 8;
    case kMrcInt16:
    case kMrcUnsigned16:
    case kMrcHalf:
      return 16;
    case kMrcRgb:
      return 24;
    case kMrcFloat:
    case kMrcComplexInt16:
      return 32;
    case kMrcComplexFloat:
      return 64;
    default:
      return 0;
  }
}

// No array is so long on one side; in the wrong byte order most are.
bool IsLength(std::int32_t value) noexcept { return value > 0 && value <= 1 << 24; }

bool HasSize(const CHeaderFields& fields) noexcept {
  return IsLength(fields.Int32(0)) && IsLength(fields.Int32(4)) && IsLength(fields.Int32(8)) && fields.Int32(92) >= 0;
}

// Which axes of the cell run along columns, rows and sections: 1 to 3. Old files leave it open.
bool HasAxes(const CHeaderFields& fields) noexcept {
  const std::int32_t x = fields.Int32(64), y = fields.Int32(68), z = fields.Int32(72);
  const auto isAxis = [](std::int32_t axis) { return axis >= 1 && axis <= 3; };
  return isAxis(x) && isAxis(y) && isAxis(z) && x != y && y != z && x != z;
}

// The stamp is wrong in many files: it decides only where both orders make sense.
std::optional<bool> ByteOrderOf(std::span<const std::uint8_t> head) noexcept {
  const auto makesSense = [&](bool bigEndian) {
    const CHeaderFields fields(head, bigEndian);
    return HasSize(fields) && BitsOf(fields.Int32(12)) != 0;
  };
  const bool stamped = CHeaderFields(head, false).Byte(kMachineStampAt) == 0x11;
  if (makesSense(stamped)) return stamped;
  if (makesSense(!stamped)) return !stamped;
  if (HasSize(CHeaderFields(head, stamped))) return stamped;
  return std::nullopt;
}

// Bytes were unsigned to some programs and signed to others. IMOD says which it means; else a greatest value that no
// signed byte can have does.
bool HasSignedBytes(const CHeaderFields& fields) noexcept {
  constexpr std::int32_t kImodStamp = 1146047817;
  if (fields.Int32(152) == kImodStamp) return (fields.Int32(156) & 1) != 0;
  const double least = fields.Float(76), most = fields.Float(80);
  return !(least >= 0.0 && most > 127.0 && most <= 255.0);
}

// Of the cell's axis that runs along the array's.
double PixelAlong(const CHeaderFields& fields, std::size_t arrayAxis) noexcept {
  const std::size_t axis = HasAxes(fields) ? static_cast<std::size_t>(fields.Int32(64 + 4 * arrayAxis)) - 1 : arrayAxis;
  const std::int32_t samples = fields.Int32(28 + 4 * axis);
  const double length = fields.Float(40 + 4 * axis);
  if (samples <= 0 || !(length > 0.0) || !std::isfinite(length)) return 0.0;
  return length / samples * kMicrometresPerAngstrom;
}

std::string LabelsOf(const CHeaderFields& fields) {
  const std::int32_t stated = fields.Int32(220);
  const int count = stated >= 0 && stated <= 10 ? stated : 10;
  std::string labels;
  for (int i = 0; i < count; ++i) {
    const std::string_view label = Trimmed(fields.Text(kLabelsAt + 80 * static_cast<std::size_t>(i), 80));
    if (label.empty()) continue;
    if (!labels.empty()) labels += '\n';
    labels += label.substr(0, label.find('\0'));
  }
  return labels;
}

}  // namespace

std::uint64_t SMrcHeader::RowBytes() const noexcept {
  return (static_cast<std::uint64_t>(columns) * BitsOf(mode) + 7) / 8;
}

std::uint64_t SMrcHeader::PixelBytes() const noexcept {
  return CRenderGuard::Multiply(RowBytes() * static_cast<std::uint64_t>(rows), static_cast<std::uint64_t>(sections));
}

std::optional<SMrcHeader> ReadMrcHeader(std::span<const std::uint8_t> head) {
  const std::optional<bool> bigEndian = head.size() < kMrcHeaderBytes ? std::nullopt : ByteOrderOf(head);
  if (!bigEndian) return std::nullopt;
  const CHeaderFields fields(head, *bigEndian);
  SMrcHeader header;
  header.bigEndian = *bigEndian;
  header.columns = fields.Int32(0);
  header.rows = fields.Int32(4);
  header.sections = fields.Int32(8);
  header.mode = fields.Int32(12);
  header.isSigned = HasSignedBytes(fields);
  header.pixelX = PixelAlong(fields, 0);
  header.pixelY = PixelAlong(fields, 1);
  header.pixelZ = PixelAlong(fields, 2);
  const std::int32_t group = fields.Int32(88), inVolume = fields.Int32(36);
  header.isVolume = group != 0;
  if (group >= kFirstVolumeStack && group <= kLastVolumeStack && inVolume > 0 && header.sections % inVolume == 0) {
    header.volumeSections = inVolume;
  }
  header.extendedBytes = static_cast<std::uint32_t>(fields.Int32(92));
  header.labels = LabelsOf(fields);
  return header;
}

bool IsMrc(std::span<const std::uint8_t> head, std::uint64_t size) {
  if (head.size() < kMrcHeaderBytes) return false;
  if (HasSignature(head)) return true;
  const std::optional<SMrcHeader> header = ReadMrcHeader(head);
  if (!header || size == 0 || header->PixelBytes() == 0) return false;
  const CHeaderFields fields(head, header->bigEndian);
  const bool leavesAxesOpen = fields.Int32(64) == 0 && fields.Int32(68) == 0 && fields.Int32(72) == 0;
  return (HasAxes(fields) || leavesAxesOpen) &&
         size == kMrcHeaderBytes + std::uint64_t{header->extendedBytes} + header->PixelBytes();
}

}  // namespace imageformats
