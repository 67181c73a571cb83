#include "host/output/html.h"

#include <fmt/format.h>

#include "system/qvstring.h"

namespace qvhost {
namespace {

// Invalid bytes come out of the conversion as escapes, which a page cannot hold.
std::string ValidUtf8(std::string_view text) {
  CQvStringW wide = CQvStringUtils::UTF8toW(text);
  for (wchar_t& c : wide.Str()) {
    if (c >= 0xD800 && c <= 0xDFFF) c = 0xFFFD;
  }
  return CQvStringUtils::WtoUTF8(wide).Str();
}

bool IsUnreserved(char c) {
  constexpr std::string_view kMarks = "-._~/";
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         kMarks.find(c) != std::string_view::npos;
}

}  // namespace

std::string HtmlText(std::string_view text) {
  std::string safe;
  for (const char c : ValidUtf8(text)) {
    switch (c) {
      case '&':
        safe += "&amp;";
        break;
      case '<':
        safe += "&lt;";
        break;
      case '>':
        safe += "&gt;";
        break;
      case '"':
        safe += "&quot;";
        break;
      default:
        safe += c;
    }
  }
  return safe;
}

std::string PercentEncoded(std::string_view path) {
  std::string encoded;
  for (const char c : path) {
    if (IsUnreserved(c)) {
      encoded += c;
    } else {
      encoded += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
  }
  return encoded;
}

std::string FileUrl(std::string_view path) { return "file://" + PercentEncoded(path); }

std::string Base64(std::string_view bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const auto byte = [&](std::size_t at) -> unsigned {
      return at < bytes.size() ? static_cast<unsigned char>(bytes[at]) : 0u;
    };
    const unsigned group = byte(i) << 16 | byte(i + 1) << 8 | byte(i + 2);
    text += kDigits[group >> 18];
    text += kDigits[group >> 12 & 63];
    text += i + 1 < bytes.size() ? kDigits[group >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? kDigits[group & 63] : '=';
  }
  return text;
}

}  // namespace qvhost
