#include "platform/imageformats/nifti/nifti_header.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "platform/imageformats/arrays/header_fields.h"
#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/text.h"
#include "platform/imageformats/base/units.h"

namespace imageformats {

namespace {

constexpr std::int32_t kBytes1 = 348, kBytes2 = 540;  // of headers, which begin with it
constexpr std::int32_t kLabelIntent = 1002;
constexpr std::uint64_t kLeastOffset1 = 352, kLeastOffset2 = 544;  // of pixels in the same file

using CColumn = std::array<double, 3>;

struct SNiftiStart {
  ENiftiKind kind;
  bool bigEndian;
  bool isPair;
};

// Of the forerunner, which has no signature: a mark that many programs leave out, or numbers that agree.
bool IsAnalyze(const CHeaderFields& fields) noexcept {
  const std::int16_t dimensions = fields.Int16(40), type = fields.Int16(70), bits = fields.Int16(72);
  const bool agrees = (type == kNiftiUint8 && bits == 8) || (type == kNiftiInt16 && bits == 16) ||
                      (type == kNiftiInt32 && bits == 32) || (type == kNiftiFloat && bits == 32) ||
                      (type == kNiftiDouble && bits == 64) || (type == kNiftiRgb && bits == 24);
  return dimensions >= 1 && dimensions <= 7 && (agrees || fields.Byte(38) == 'r');
}

std::optional<SNiftiStart> StartOf(std::span<const std::uint8_t> head) noexcept {
  for (const bool bigEndian : {false, true}) {
    const CHeaderFields fields(head, bigEndian);
    const std::string_view magic1 = fields.Text(344, 3), magic2 = fields.Text(4, 3);
    if (fields.Int32(0) == kBytes2 && (magic2 == "n+2" || magic2 == "ni2")) {
      return SNiftiStart{ENiftiKind::kNifti2, bigEndian, magic2 == "ni2"};
    }
    if (fields.Int32(0) != kBytes1 || head.size() < kBytes1) continue;
    if (magic1 == "n+1" || magic1 == "ni1") return SNiftiStart{ENiftiKind::kNifti1, bigEndian, magic1 == "ni1"};
    if (IsAnalyze(fields)) return SNiftiStart{ENiftiKind::kAnalyze, bigEndian, true};
  }
  return std::nullopt;
}

void ReadUnits(std::int32_t code, SNiftiHeader& header) noexcept {
  constexpr double kMicrometres[] = {0.0, 1e6, 1e3, 1.0};
  constexpr double kSeconds[] = {0.0, 1.0, 1e-3, 1e-6};
  const std::int32_t space = code & 7, time = (code & 0x38) >> 3;
  for (std::size_t i = 0; i < 3; ++i) header.steps[i] *= space < 4 ? kMicrometres[space] : 0.0;
  header.steps[3] *= time < 4 ? kSeconds[time] : 0.0;
  header.isTime = time < 4;
}

// The direction in which rows follow each other: right, forwards, up. Nothing where the header leaves it open.
std::optional<CColumn> RowDirection(const CHeaderFields& fields, bool isNifti2) noexcept {
  const auto real = [&](std::size_t at1, std::size_t at2) { return isNifti2 ? fields.Double(at2) : fields.Float(at1); };
  const std::int32_t rotated = isNifti2 ? fields.Int32(344) : fields.Int16(252);
  const std::int32_t placed = isNifti2 ? fields.Int32(348) : fields.Int16(254);
  if (placed > 0) return CColumn{real(284, 408), real(300, 440), real(316, 472)};
  if (rotated <= 0) return std::nullopt;
  const double b = real(256, 352), c = real(260, 360), d = real(264, 368);
  const double a = std::sqrt(std::max(0.0, 1.0 - (b * b + c * c + d * d)));
  return CColumn{2 * (b * c - a * d), a * a + c * c - b * b - d * d, 2 * (c * d + a * b)};
}

// Viewers put what is forwards or up in the subject above; of rows that lead to the side, and where nothing is said,
// the first is the lowest.
bool FirstRowIsUpper(const CHeaderFields& fields, bool isNifti2) noexcept {
  const std::optional<CColumn> rows = RowDirection(fields, isNifti2);
  if (!rows) return false;
  const double right = std::fabs((*rows)[0]), forwards = std::fabs((*rows)[1]), up = std::fabs((*rows)[2]);
  if (!(std::max(forwards, up) > right)) return false;
  return (forwards >= up ? (*rows)[1] : (*rows)[2]) < 0.0;
}

void ReadSizes(const CHeaderFields& fields, SNiftiHeader& header) {
  const bool is2 = header.kind == ENiftiKind::kNifti2;
  const auto number = [&](std::size_t i) -> std::int64_t {
    return is2 ? fields.Int64(16 + 8 * i) : fields.Int16(40 + 2 * i);
  };
  const std::int64_t dimensions = number(0);
  if (dimensions < 1 || dimensions > 7) throw CDamagedError("The NIfTI header names no usable dimension");
  for (std::size_t i = 0; i < header.sizes.size(); ++i) {
    header.sizes[i] = static_cast<std::int64_t>(i) < dimensions ? number(i + 1) : 1;
    if (header.sizes[i] < 1) throw CDamagedError("The NIfTI header names a size of 0");
  }
  for (std::size_t i = 0; i < header.steps.size(); ++i) {
    const double step = std::fabs(is2 ? fields.Double(112 + 8 * i) : fields.Float(80 + 4 * i));
    header.steps[i] = std::isfinite(step) ? step : 0.0;
  }
}

void ReadOffset(const CHeaderFields& fields, SNiftiHeader& header) {
  const bool is2 = header.kind == ENiftiKind::kNifti2;
  const double offset = is2 ? static_cast<double>(fields.Int64(168)) : fields.Float(108);
  if (!(offset >= 0.0 && offset < 1e18)) throw CDamagedError("The NIfTI header names an impossible place");
  header.offset = is2 ? static_cast<std::uint64_t>(fields.Int64(168)) : static_cast<std::uint64_t>(offset);
  if (!header.isPair) header.offset = std::max(header.offset, is2 ? kLeastOffset2 : kLeastOffset1);
}

void ReadNifti1(const CHeaderFields& fields, SNiftiHeader& header) {
  header.type = fields.Int16(70);
  ReadUnits(fields.Byte(123), header);
  header.slope = fields.Float(112);
  header.intercept = fields.Float(116);
  header.brightest = fields.Float(124);
  header.darkest = fields.Float(128);
  header.isLabels = fields.Int16(68) == kLabelIntent;
  header.description = fields.Text(148, 80);
  header.intent = fields.Text(328, 16);
}

void ReadNifti2(const CHeaderFields& fields, SNiftiHeader& header) {
  header.type = fields.Int16(12);
  ReadUnits(fields.Int32(500), header);
  header.slope = fields.Double(176);
  header.intercept = fields.Double(184);
  header.brightest = fields.Double(192);
  header.darkest = fields.Double(200);
  header.isLabels = fields.Int32(504) == kLabelIntent;
  header.description = fields.Text(240, 80);
  header.intent = fields.Text(508, 16);
}

void ReadAnalyze(const CHeaderFields& fields, SNiftiHeader& header) {
  header.type = fields.Int16(70);
  const std::string_view unit = fields.Text(56, 4);
  const double micrometres = MicrometresPer(unit.substr(0, unit.find('\0'))).value_or(0.0);
  for (std::size_t i = 0; i < 3; ++i) header.steps[i] *= micrometres;
  header.steps[3] = 0.0;
  header.brightest = fields.Float(124);
  header.darkest = fields.Float(128);
  header.description = fields.Text(148, 80);
}

}  // namespace

bool IsNifti(std::span<const std::uint8_t> head, std::uint64_t /*size*/) { return StartOf(head).has_value(); }

SNiftiHeader ReadNiftiHeader(std::span<const std::uint8_t> head) {
  const std::optional<SNiftiStart> start = StartOf(head);
  const bool is2 = start && start->kind == ENiftiKind::kNifti2;
  if (!start || head.size() < static_cast<std::size_t>(is2 ? kBytes2 : kBytes1)) {
    throw CDamagedError("The NIfTI header is damaged");
  }
  const CHeaderFields fields(head, start->bigEndian);
  SNiftiHeader header;
  header.kind = start->kind;
  header.bigEndian = start->bigEndian;
  header.isPair = start->isPair;
  ReadSizes(fields, header);
  ReadOffset(fields, header);
  if (is2) ReadNifti2(fields, header);
  if (header.kind == ENiftiKind::kNifti1) ReadNifti1(fields, header);
  if (header.kind == ENiftiKind::kAnalyze) ReadAnalyze(fields, header);
  header.firstRowIsUpper = header.kind != ENiftiKind::kAnalyze && FirstRowIsUpper(fields, is2);
  return header;
}

}  // namespace imageformats
