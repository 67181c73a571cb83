#include "platform/imageformats/tiff/dataset/imagej.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>

#include "platform/imageformats/base/integers.h"
#include "platform/imageformats/base/text.h"

namespace imageformats::tiff {
namespace {

constexpr std::size_t kMaxLabels = 16;
constexpr std::size_t kMaxInfoUnits = 32768;
constexpr std::size_t kMaxChannels = 4096;

std::uint32_t ParseCount(std::string_view text) {
  const double value = LeadingNumber(text);
  return value >= 1.0 && value <= 1e9 ? static_cast<std::uint32_t>(value) : 1;
}

void AppendUtf8(std::uint32_t c, std::string* out) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
    return;
  }
  if (c >= 0x10000) {
    out->push_back(static_cast<char>(0xF0 | c >> 18));
    out->push_back(static_cast<char>(0x80 | (c >> 12 & 0x3F)));
  } else if (c >= 0x800) {
    out->push_back(static_cast<char>(0xE0 | c >> 12));
  }
  if (c >= 0x800) out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
  if (c < 0x800) out->push_back(static_cast<char>(0xC0 | c >> 6));
  out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
}

// ImageJ escapes what is not ASCII as Java does: \u00B5.
std::string Unescaped(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned code = 0;
    if (text[i] == '\\' && i + 5 < text.size() && text[i + 1] == 'u') {
      const char* digits = text.data() + i + 2;
      if (std::from_chars(digits, digits + 4, code, 16).ptr == digits + 4) {
        AppendUtf8(code, &out);
        i += 5;
        continue;
      }
    }
    out.push_back(text[i]);
  }
  return out;
}

void ParseLine(std::string_view key, std::string_view value, SImageJ* imageJ) {
  if (key == "ImageJ") imageJ->version = value;
  if (key == "images") imageJ->images = ParseCount(value);
  if (key == "channels") imageJ->channels = ParseCount(value);
  if (key == "slices") imageJ->slices = ParseCount(value);
  if (key == "frames") imageJ->frames = ParseCount(value);
  if (key == "mode") imageJ->mode = value;
  if (key == "unit") imageJ->unit = Unescaped(value);
  if (key == "spacing") imageJ->spacing = std::fabs(LeadingNumber(value));
  if (key == "finterval") imageJ->frameInterval = std::max(LeadingNumber(value), 0.0);
  if (key == "fps" && imageJ->frameInterval == 0.0 && LeadingNumber(value) > 0.0) {
    imageJ->frameInterval = 1.0 / LeadingNumber(value);
  }
}

std::string_view NextLine(std::string_view* text) {
  const std::size_t end = text->find_first_of("\r\n");
  const std::string_view line = text->substr(0, end);
  text->remove_prefix(end == std::string_view::npos ? text->size() : end + 1);
  return line;
}

// The parts of the metadata block one after the other. Numbers are in the file's byte order, which the magic tells.
class CMetadataBlock {
 public:
  explicit CMetadataBlock(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {
    if (bytes.size() < 4) return;
    m_bigEndian = std::memcmp(bytes.data(), "IJIJ", 4) == 0;
    m_valid = m_bigEndian || std::memcmp(bytes.data(), "JIJI", 4) == 0;
  }
  bool IsValid() const noexcept { return m_valid; }

  std::uint64_t Integer(std::size_t offset, std::size_t size) const noexcept {
    return IntegerAt(m_bytes.data() + offset, size, m_bigEndian);
  }
  double Double(std::size_t offset) const noexcept {
    const std::uint64_t bits = Integer(offset, 8);
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  std::string Text(std::size_t offset, std::size_t size) const {
    std::string text;
    for (std::size_t i = 0; i + 1 < size; i += 2) {
      std::uint32_t unit = static_cast<std::uint32_t>(Integer(offset + i, 2));
      if (unit >= 0xD800 && unit < 0xDC00 && i + 3 < size) {
        const auto low = static_cast<std::uint32_t>(Integer(offset + i + 2, 2));
        if (low >= 0xDC00 && low < 0xE000) {
          unit = 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
          i += 2;
        }
      }
      AppendUtf8(unit >= 0xD800 && unit < 0xE000 ? 0xFFFD : unit, &text);
    }
    return text;
  }
  std::span<const std::uint8_t> Bytes() const noexcept { return m_bytes; }

 private:
  std::span<const std::uint8_t> m_bytes;
  bool m_bigEndian = false, m_valid = false;
};

constexpr std::uint32_t Magic(const char (&name)[5]) noexcept {
  return static_cast<std::uint32_t>(name[0]) << 24 | static_cast<std::uint32_t>(name[1]) << 16 |
         static_cast<std::uint32_t>(name[2]) << 8 | static_cast<std::uint32_t>(name[3]);
}

void ParsePart(const CMetadataBlock& block, std::uint32_t type, std::size_t offset, std::size_t size, SImageJ* imageJ) {
  if (type == Magic("info")) imageJ->info = block.Text(offset, std::min(size, 2 * kMaxInfoUnits));
  if (type == Magic("labl") && imageJ->labels.size() < kMaxLabels) {
    imageJ->labels.push_back(block.Text(offset, std::min(size, kMaxInfoUnits)));
  }
  if (type == Magic("rang")) {
    for (std::size_t i = 0; i + 16 <= size && imageJ->ranges.size() < kMaxChannels; i += 16) {
      imageJ->ranges.push_back({block.Double(offset + i), block.Double(offset + i + 8)});
    }
  }
  if (type == Magic("luts") && size == std::tuple_size_v<SLookupTable> && imageJ->tables.size() < kMaxChannels) {
    // Stored as 256 reds, greens, blues.
    SLookupTable& table = imageJ->tables.emplace_back();
    for (std::size_t i = 0; i < size; ++i) table[i % 256 * 3 + i / 256] = block.Bytes()[offset + i];
  }
}

}  // namespace

std::optional<SImageJ> ParseImageJDescription(std::string_view text) {
  if (!text.starts_with("ImageJ=")) return std::nullopt;
  SImageJ imageJ;
  imageJ.images = 0;
  std::optional<double> low, high;
  while (!text.empty()) {
    const std::string_view line = NextLine(&text);
    const std::size_t equals = line.find('=');
    if (equals == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, equals), value = line.substr(equals + 1);
    ParseLine(key, value, &imageJ);
    if (key == "min") low = LeadingNumber(value);
    if (key == "max") high = LeadingNumber(value);
  }
  if (low && high && *low < *high) imageJ.range = SDisplayRange{*low, *high};
  const double planes = double{1} * imageJ.channels * imageJ.slices * imageJ.frames;
  if (planes > 1e9) imageJ.channels = imageJ.slices = imageJ.frames = 1;
  if (imageJ.images == 0) imageJ.images = imageJ.channels * imageJ.slices * imageJ.frames;
  return imageJ;
}

void ParseImageJMetadata(std::span<const std::uint32_t> counts, std::span<const std::uint8_t> bytes, SImageJ* imageJ) {
  const CMetadataBlock block(bytes);
  if (!block.IsValid() || counts.empty() || counts[0] < 12 || counts[0] > bytes.size()) return;
  std::size_t offset = counts[0], next = 1;
  for (std::size_t entry = 4; entry + 8 <= counts[0]; entry += 8) {
    const auto type = static_cast<std::uint32_t>(block.Integer(entry, 4));
    const auto parts = static_cast<std::uint32_t>(block.Integer(entry + 4, 4));
    for (std::uint32_t i = 0; i < parts; ++i, ++next) {
      if (next >= counts.size() || counts[next] > bytes.size() - offset) return;
      ParsePart(block, type, offset, counts[next], imageJ);
      offset += counts[next];
    }
  }
}

}  // namespace imageformats::tiff
