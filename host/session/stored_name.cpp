#include "host/session/stored_name.h"

namespace qvhost {
namespace {

constexpr std::uint32_t kReplacement = 0xFFFD;

bool IsSurrogateFrom(char16_t unit, char16_t first) { return unit >= first && unit < first + 0x400; }

}  // namespace

std::string PlainUtf8(std::u16string_view text, bool* isWhole) {
  CQvStringW wide;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool isHigh = IsSurrogateFrom(text[i], 0xD800), isLow = IsSurrogateFrom(text[i], 0xDC00);
    std::uint32_t point = text[i];
    if (isHigh && i + 1 < text.size() && IsSurrogateFrom(text[i + 1], 0xDC00)) {
      point = 0x10000u + ((point - 0xD800u) << 10) + (text[++i] - 0xDC00u);
    } else if (isHigh || isLow) {
      point = kReplacement;
      if (isWhole) *isWhole = false;
    }
    wide.Str() += static_cast<wchar_t>(point);
  }
  return CQvStringUtils::WtoUTF8(wide).Str();
}

}  // namespace qvhost
