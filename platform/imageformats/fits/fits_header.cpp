#include "platform/imageformats/fits/fits_header.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "platform/imageformats/base/format_error.h"
#include "platform/imageformats/base/render_guard.h"
#include "platform/imageformats/base/text.h"

namespace imageformats {

namespace {

constexpr std::size_t kFitsBlock = 2880, kFitsCard = 80;
constexpr std::size_t kMostFitsBlocks = 1000;  // of one header
constexpr std::int64_t kMostFitsAxes = 999;
constexpr std::size_t kLongestFitsComments = 65536;

// What stands between quotation marks, two of which mean one.
std::string Quoted(std::string_view field) {
  std::string text;
  for (std::size_t i = 1; i < field.size(); ++i) {
    if (field[i] == '\'' && (i + 1 == field.size() || field[++i] != '\'')) break;
    text += field[i];
  }
  text.erase(text.find_last_not_of(' ') + 1);
  return text;
}

std::string ValueOf(std::string_view field) {
  const std::size_t begin = field.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  field.remove_prefix(begin);
  if (field.front() == '\'') return Quoted(field);
  return std::string(Trimmed(field.substr(0, field.find('/'))));
}

std::uint64_t Saturated(std::int64_t value) noexcept {
  return value < 0 ? std::numeric_limits<std::uint64_t>::max() : static_cast<std::uint64_t>(value);
}

// |BITPIX| / 8 * GCOUNT * (PCOUNT + NAXIS1 * NAXIS2 * ...); the first axis of random groups is 0 and does not count.
std::uint64_t DataBytes(const CFitsCards& cards, const std::vector<std::uint64_t>& sizes) {
  if (sizes.empty()) return 0;
  const bool hasGroups = cards.IsTrue("GROUPS") && sizes.front() == 0;
  std::uint64_t values = 1;
  for (std::size_t i = hasGroups ? 1 : 0; i < sizes.size(); ++i) values = CRenderGuard::Multiply(values, sizes[i]);
  const std::uint64_t extra = Saturated(cards.Integer("PCOUNT", 0));
  values = values > std::numeric_limits<std::uint64_t>::max() - extra ? std::numeric_limits<std::uint64_t>::max()
                                                                      : values + extra;
  values = CRenderGuard::Multiply(values, Saturated(cards.Integer("GCOUNT", 1)));
  const std::int64_t bits = std::clamp<std::int64_t>(cards.Integer("BITPIX", 8), -64, 64);
  return CRenderGuard::Multiply(values, static_cast<std::uint64_t>(bits < 0 ? -bits : bits) / 8);
}

std::vector<std::uint64_t> SizesOf(const CFitsCards& cards) {
  const std::int64_t axes = cards.Integer("NAXIS", -1);
  if (axes < 0 || axes > kMostFitsAxes) throw CDamagedError("The FITS header names no usable dimension");
  std::vector<std::uint64_t> sizes;
  for (std::int64_t i = 1; i <= axes; ++i) {
    std::string keyword = "NAXIS";
    const std::int64_t size = cards.Integer(keyword.append(std::to_string(i)), -1);
    if (size < 0) throw CDamagedError("The FITS header names an impossible size");
    sizes.push_back(static_cast<std::uint64_t>(size));
  }
  return sizes;
}

// Whether the file has a block there.
bool HasFitsBlock(std::uint64_t fileBytes, std::uint64_t offset) noexcept {
  return fileBytes == 0 || (fileBytes >= kFitsBlock && offset <= fileBytes - kFitsBlock);
}

}  // namespace

void CFitsCards::Take(std::string_view card) {
  const std::string keyword(Trimmed(card.substr(0, 8)));
  if (keyword == "COMMENT") {
    const std::string_view comment = Trimmed(card.substr(8));
    if (m_comments.size() + comment.size() > kLongestFitsComments) return;
    if (!m_comments.empty()) m_comments += '\n';
    m_comments += comment;
  } else if (card.substr(8, 2) == "= ") {
    m_values.emplace(keyword, ValueOf(card.substr(10)));
  }
}

std::string CFitsCards::Text(const std::string& keyword) const {
  const auto found = m_values.find(keyword);
  return found == m_values.end() ? std::string() : found->second;
}

std::optional<double> CFitsCards::Number(const std::string& keyword) const {
  std::string text = Text(keyword);
  // Exponents may be written as Fortran does.
  std::replace(text.begin(), text.end(), 'D', 'E');
  const char* begin = text.data() + (text.starts_with('+') ? 1 : 0);
  double value = 0.0;
  const auto [end, error] = std::from_chars(begin, text.data() + text.size(), value);
  if (error != std::errc() || end == begin || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::int64_t CFitsCards::Integer(const std::string& keyword, std::int64_t otherwise) const {
  const std::optional<double> value = Number(keyword);
  if (!value) return otherwise;
  return *value >= -9e18 && *value <= 9e18 ? static_cast<std::int64_t>(*value) : otherwise;
}

bool SFitsUnit::IsPicture() const {
  if (cards.Has("XTENSION") && cards.Text("XTENSION") != "IMAGE") return false;
  return sizes.size() >= 2 && std::all_of(sizes.begin(), sizes.end(), [](std::uint64_t size) { return size > 0; });
}

bool IsFits(std::span<const std::uint8_t> head, std::uint64_t /*size*/) {
  constexpr std::string_view kSignature = "SIMPLE  =";
  return head.size() > kSignature.size() && std::equal(kSignature.begin(), kSignature.end(), head.begin());
}

std::optional<SFitsUnit> ReadFitsUnit(IArrayBytes& file, std::uint64_t fileBytes, std::uint64_t offset) {
  if (!HasFitsBlock(fileBytes, offset)) return std::nullopt;
  SFitsUnit unit;
  char block[kFitsBlock];
  for (std::size_t blocks = 0; blocks < kMostFitsBlocks; ++blocks) {
    if (!HasFitsBlock(fileBytes, offset)) throw CDamagedError("The file is truncated: its header does not end");
    file.Read(offset, reinterpret_cast<std::uint8_t*>(block), kFitsBlock);
    offset += kFitsBlock;
    for (std::size_t at = 0; at < kFitsBlock; at += kFitsCard) {
      const std::string_view card(block + at, kFitsCard);
      if (card.starts_with("END     ")) {
        unit.sizes = SizesOf(unit.cards);
        unit.data = offset;
        unit.dataBytes = DataBytes(unit.cards, unit.sizes);
        return unit;
      }
      unit.cards.Take(card);
    }
  }
  throw CDamagedError("The FITS header does not end");
}

std::uint64_t BehindFitsUnit(const SFitsUnit& unit) noexcept {
  const std::uint64_t blocks = unit.dataBytes / kFitsBlock + (unit.dataBytes % kFitsBlock != 0 ? 1 : 0);
  const std::uint64_t bytes = CRenderGuard::Multiply(blocks, kFitsBlock);
  return bytes > std::numeric_limits<std::uint64_t>::max() - unit.data ? bytes : unit.data + bytes;
}

}  // namespace imageformats
