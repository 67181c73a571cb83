#include <string>
#include <string_view>

#include "platform/system/code_point.h"
#include "system/qvstring.h"

namespace {

// Where escaped bytes travel in UTF-16: far inside private-use plane 16, with the same low ten bits.
constexpr char32_t kPrivateUseOffset = 0x10DC80u - 0xDC80u;

void Append(char32_t c, std::u16string* out) {
  if (c > 0xFFFFu) {
    *out += static_cast<char16_t>(0xD7C0u + (c >> 10));
    c = 0xDC00u + (c & 0x3FFu);
  }
  *out += static_cast<char16_t>(c);
}

}  // namespace

std::u16string CQvStringUtils::WtoUTF16(const wchar_t* text) {
  std::u16string out;
  if (!text) return out;
  const std::wstring_view view(text);
  out.reserve(view.size());
  for (const wchar_t *c = view.data(), *end = c + view.size(); c != end;) {
    const char32_t point = NextCodePoint(c, end);
    Append(IsEscapedByte(point) ? point + kPrivateUseOffset : point, &out);
  }
  return out;
}

CQvStringW CQvStringUtils::UTF16toW(const char16_t* text) {
  return text ? UTF16toW(std::u16string_view(text)) : CQvStringW();
}

CQvStringW CQvStringUtils::UTF16toW(std::u16string_view text) {
  std::wstring out(text.size(), L'\0');
  wchar_t* target = out.data();
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (IsHighSurrogate(c) && i + 1 < text.size() && IsLowSurrogate(text[i + 1])) c = JoinSurrogates(c, text[++i]);
    if (c >= kPrivateUseOffset && IsEscapedByte(c - kPrivateUseOffset)) c -= kPrivateUseOffset;
    target = StoreWide(c, target);
  }
  out.resize(static_cast<std::size_t>(target - out.data()));
  return CQvStringW(std::move(out));
}
