#include "platform/imageformats/base/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace imageformats {

namespace {

CQvStringW Cleaned(std::wstring text) {
  std::erase_if(text, [](wchar_t c) { return (c < 0x20 && c != L'\t' && c != L'\n' && c != L'\r') || c == 0x7F; });
  const auto first = text.find_first_not_of(L" \t\r\n");
  if (first == std::wstring::npos) return {};
  const auto last = text.find_last_not_of(L" \t\r\n");
  return CQvStringW(text.substr(first, std::min(last - first + 1, kMaxTextLength)));
}

std::string_view UpToZero(std::string_view bytes) { return bytes.substr(0, std::min(bytes.find('\0'), bytes.size())); }

std::wstring Latin1(std::string_view bytes) {
  std::wstring text;
  text.reserve(bytes.size());
  for (const char c : bytes) text.push_back(static_cast<wchar_t>(static_cast<unsigned char>(c)));
  return text;
}

}  // namespace

CQvStringW TextOf(std::string_view bytes) {
  bytes = UpToZero(bytes).substr(0, 4 * kMaxTextLength);
  CQvStringW text = CQvStringUtils::UTF8toW(bytes);
  // The platform's conversion marks invalid bytes by lone low surrogates.
  const bool valid =
      std::none_of(text.Str().begin(), text.Str().end(), [](wchar_t c) { return c >= 0xDC80 && c <= 0xDCFF; });
  return Cleaned(valid ? std::move(text.Str()) : Latin1(bytes));
}

CQvStringW TextOfLatin1(std::string_view bytes) {
  return Cleaned(Latin1(UpToZero(bytes).substr(0, 4 * kMaxTextLength)));
}

CQvStringW TextOfUtf16(std::string_view bytes, bool bigEndian) {
  std::u16string units;
  for (std::size_t i = 0; i + 1 < bytes.size() && units.size() < kMaxTextLength; i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    const auto unit = static_cast<char16_t>(bigEndian ? first << 8 | second : second << 8 | first);
    if (unit == 0) break;
    units.push_back(unit);
  }
  return Cleaned(CQvStringUtils::UTF16toW(std::u16string_view(units)).Str());
}

std::string LowerAscii(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = LowerAscii(c);
  return lower;
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks{" \t\r\n\0", 5};
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

double LeadingNumber(std::string_view text) {
  double value = 0.0;
  const auto [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() && std::isfinite(value) ? value : 0.0;
}

std::string NumberText(double value, int decimals) {
  char buffer[400];  // the largest double has 309 digits
  const auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals).ptr;
  std::string text(buffer, end);
  if (text.find('.') != std::string::npos) {
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
  }
  return text;
}

void SetIfEmpty(CQvStringW& target, const CQvStringW& text) {
  if (target.IsEmpty()) target = text;
}

CQvStringW Joined(const CQvStringW& a, const wchar_t* between, const CQvStringW& b) {
  if (a.IsEmpty() || b.IsEmpty()) return a.IsEmpty() ? b : a;
  return a + CQvStringW(between) + b;
}

std::string Joined(std::initializer_list<std::string_view> parts, std::string_view between) {
  std::string text;
  for (const std::string_view part : parts) {
    if (part.empty()) continue;
    if (!text.empty()) text += between;
    text += part;
  }
  return text;
}

}  // namespace imageformats
