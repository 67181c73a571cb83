#include "host/output/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace qvhost {
namespace {

std::string HexEscape(std::string_view bytes) {
  std::string text;
  for (const char c : bytes) text += fmt::format("\\x{:02X}", static_cast<unsigned char>(c));
  return text;
}

// Controls steer terminals, those of ISO 6429's second set (C1) as well; a byte that is no UTF-8 may be one of these to
// a terminal of eight bits.
bool IsPlain(wchar_t c) { return c >= 0x20 && !(c >= 0x7F && c <= 0x9F) && !(c >= 0xDC80 && c <= 0xDCFF); }

std::string Escape(const CQvStringW& text, bool keepLines) {
  std::string safe;
  for (const wchar_t c : text.Str()) {
    const std::string bytes = CQvStringUtils::WtoUTF8(CQvStringW(&c, 1)).Str();
    safe += IsPlain(c) || (keepLines && c == L'\n') ? bytes : HexEscape(bytes);
  }
  return safe;
}

}  // namespace

std::string Printable(std::string_view text) { return Escape(CQvStringUtils::UTF8toW(text), false); }
std::string Printable(const CQvStringW& text) { return Escape(text, false); }

std::string PrintableLines(const CQvStringW& text) {
  CQvStringW lines;
  for (std::size_t i = 0; i < text.GetLength(); ++i) {
    if (text.Str().compare(i, 2, L"\r\n") != 0) lines.Str() += text.Str()[i];
  }
  return Escape(lines, true);
}

std::string EscapeInvalidUtf8(const std::string& text) {
  const CQvStringW wide = CQvStringUtils::UTF8toW(text);
  const auto isByte = [](wchar_t c) { return c >= 0xDC80 && c <= 0xDCFF; };
  if (std::none_of(wide.Str().begin(), wide.Str().end(), isByte)) return text;
  std::string escaped;
  for (const wchar_t c : wide.Str()) {
    const std::string bytes = CQvStringUtils::WtoUTF8(CQvStringW(&c, 1)).Str();
    escaped += isByte(c) || c == L'\\' ? HexEscape(bytes) : bytes;
  }
  return escaped;
}

std::string UnescapeBytes(const std::string& text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned value = 0;
    const char* digits = text.data() + i + 2;
    if (text.compare(i, 2, "\\x") == 0 && i + 4 <= text.size() &&
        std::from_chars(digits, digits + 2, value, 16).ptr == digits + 2) {
      bytes += static_cast<char>(value);
      i += 3;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

std::size_t DisplayWidth(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string FormatCount(std::int64_t count) {
  std::string digits = std::to_string(count);
  const std::size_t first = digits[0] == '-' ? 1 : 0;
  for (std::size_t i = digits.size(); i > first + 3;) {
    i -= 3;
    digits.insert(i, 1, ',');
  }
  return digits;
}

std::string FormatCountOf(std::int64_t count, const char* one, const char* many) {
  if (count == 1) return std::string("1 ") + one;
  return FormatCount(count) + " " + (many ? many : std::string(one) + "s");
}

std::string FormatBytes(std::int64_t bytes) {
  constexpr std::array<const char*, 5> kByteUnits = {"bytes", "kB", "MB", "GB", "TB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= 999.5 && unit + 1 < kByteUnits.size()) {
    value /= 1000.0;
    ++unit;
  }
  return unit == 0 ? fmt::format("{} bytes", bytes) : fmt::format("{:.3g} {}", value, kByteUnits[unit]);
}

std::string FormatDuration(double seconds) {
  if (seconds < 10.0) return fmt::format("{:.2g} s", std::max(seconds, 0.0));
  const auto whole = static_cast<std::int64_t>(std::llround(seconds));
  if (whole < 60) return fmt::format("{} s", whole);
  if (whole < 3600) return fmt::format("{} min {:02} s", whole / 60, whole % 60);
  return fmt::format("{} h {:02} min", whole / 3600, whole % 3600 / 60);
}

std::string FormatNumber(double value) { return fmt::format("{:.6g}", value); }

std::string FormatOmitted(std::size_t total, const char* entries) {
  if (total <= kMaxListed) return {};
  return fmt::format("… and {} more {}", FormatCount(static_cast<std::int64_t>(total - kMaxListed)), entries);
}

CTable::CTable(std::vector<std::string> header, std::vector<bool> rightAligned)
    : m_rightAligned(std::move(rightAligned)) {
  m_rightAligned.resize(header.size(), false);
  m_rows.push_back(std::move(header));
}

void CTable::Print() const {
  std::vector<std::size_t> widths(m_rightAligned.size(), 0);
  for (const auto& row : m_rows) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  for (const auto& row : m_rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - DisplayWidth(row[i]), ' ');
      line += (i ? "  " : "") + (m_rightAligned[i] ? blanks + row[i] : row[i] + blanks);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    std::printf("%s\n", line.c_str());
  }
}

}  // namespace qvhost
