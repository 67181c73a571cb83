#include <cstdint>
#include <cstring>
#include <cwchar>
#include <string>
#include <string_view>

#include "platform/system/code_point.h"
#include "system/qvstring.h"

namespace {

std::size_t AsciiPrefix(const char* text, std::size_t size) noexcept {
  std::size_t i = 0;
  for (; i + 8 <= size; i += 8) {
    std::uint64_t word;
    std::memcpy(&word, text + i, 8);
    if (word & 0x8080808080808080u) break;
  }
  while (i < size && static_cast<std::uint8_t>(text[i]) < 0x80u) ++i;
  return i;
}

bool IsAscii(std::wstring_view text) noexcept {
  std::uint32_t all = 0;
  for (const wchar_t c : text) all |= static_cast<std::uint32_t>(c);
  return all < 0x80u;
}

std::size_t EncodedLength(std::wstring_view text) noexcept {
  std::size_t length = 0;
  for (const wchar_t *c = text.data(), *end = c + text.size(); c != end;) {
    const char32_t point = NextCodePoint(c, end);
    length += IsEscapedByte(point) ? 1 : Utf8Length(point);
  }
  return length;
}

CQvStringA Encode(std::wstring_view text) {
  std::string out;
  if (IsAscii(text)) {
    out.resize(text.size());
    char* target = out.data();
    for (std::size_t i = 0; i < text.size(); ++i) target[i] = static_cast<char>(text[i]);
    return CQvStringA(std::move(out));
  }
  out.resize(EncodedLength(text));
  char* target = out.data();
  for (const wchar_t *c = text.data(), *end = c + text.size(); c != end;) {
    const char32_t point = NextCodePoint(c, end);
    if (IsEscapedByte(point)) {
      *target++ = static_cast<char>(point - 0xDC00u);
    } else {
      target = StoreUtf8(point, target);
    }
  }
  return CQvStringA(std::move(out));
}

}  // namespace

CQvStringA CQvStringUtils::WtoUTF8(const wchar_t* text) { return text ? Encode(text) : CQvStringA(); }

CQvStringA CQvStringUtils::WtoUTF8(const CQvStringW& text) { return Encode(text.Str()); }

CQvStringW CQvStringUtils::UTF8toW(const char* text) { return text ? UTF8toW(std::string_view(text)) : CQvStringW(); }

CQvStringW CQvStringUtils::UTF8toW(const CQvStringA& text) { return UTF8toW(std::string_view(text.Str())); }

CQvStringW CQvStringUtils::UTF8toW(std::string_view text) {
  const std::size_t ascii = AsciiPrefix(text.data(), text.size());
  // A byte makes at most one wide character, whatever their width.
  std::wstring out(text.size(), L'\0');
  wchar_t* target = out.data();
  for (std::size_t i = 0; i < ascii; ++i) target[i] = static_cast<wchar_t>(text[i]);
  target += ascii;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
  for (std::size_t i = ascii; i < text.size();) {
    char32_t c = 0;
    std::size_t used = DecodeUtf8(bytes + i, text.size() - i, &c);
    if (used == 0 || IsSurrogate(c)) {
      c = EscapeByte(bytes[i]);
      used = 1;
    }
    target = StoreWide(c, target);
    i += used;
  }
  out.resize(static_cast<std::size_t>(target - out.data()));
  return CQvStringW(std::move(out));
}
