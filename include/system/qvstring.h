#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "system/qvexport.h"

// The platform's string: a value type over the standard string of the same character. A null pointer makes an
// empty string. Not synchronised: distinct objects may be used from distinct threads.
template <class Char>
class CQvBasicString {
 public:
  using StdString = std::basic_string<Char>;
  using StdView = std::basic_string_view<Char>;

  CQvBasicString() noexcept = default;
  CQvBasicString(const Char* text) : m_text(text ? text : StdString()) {}
  CQvBasicString(const Char* text, std::size_t length) : m_text(text, length) {}
  CQvBasicString(StdView text) : m_text(text) {}
  CQvBasicString(const StdString& text) : m_text(text) {}
  CQvBasicString(StdString&& text) noexcept : m_text(std::move(text)) {}

  const Char* c_str() const noexcept { return m_text.c_str(); }
  std::size_t GetLength() const noexcept { return m_text.size(); }
  bool IsEmpty() const noexcept { return m_text.empty(); }
  const StdString& Str() const noexcept { return m_text; }
  StdString& Str() noexcept { return m_text; }
  void Clear() noexcept { m_text.clear(); }

  CQvBasicString& operator+=(const CQvBasicString& tail) {
    m_text += tail.m_text;
    return *this;
  }
  friend CQvBasicString operator+(CQvBasicString head, const CQvBasicString& tail) { return head += tail; }
  friend bool operator==(const CQvBasicString& a, const CQvBasicString& b) noexcept { return a.m_text == b.m_text; }
  friend bool operator!=(const CQvBasicString& a, const CQvBasicString& b) noexcept { return a.m_text != b.m_text; }
  // Ordinary code-unit order.
  friend bool operator<(const CQvBasicString& a, const CQvBasicString& b) noexcept { return a.m_text < b.m_text; }

 private:
  StdString m_text;
};

// Wide string of the platform's wide character (32 bits on Linux, 16 on Windows).
using CQvStringW = CQvBasicString<wchar_t>;
// Narrow string that holds UTF-8.
using CQvStringA = CQvBasicString<char>;

// Conversions between the platform's strings. All are pure functions, safe from any thread.
//
// A file name on Linux is bytes. A byte that is not part of valid UTF-8 becomes U+DC80..U+DCFF (0xDC00 + byte) in a
// wide string and becomes the same byte again on the way back, so every file name survives the round trip.
class QV_SYSTEM_API CQvStringUtils {
 public:
  // Wide to UTF-8. Null gives an empty string. U+DC80..U+DCFF give their byte; any other lone surrogate gives its
  // three-byte generalised form.
  static CQvStringA WtoUTF8(const wchar_t* text);
  static CQvStringA WtoUTF8(const CQvStringW& text);

  // UTF-8 to wide; invalid bytes (overlong forms, surrogates and values above U+10FFFF included) are escaped as above.
  static CQvStringW UTF8toW(const char* text);
  static CQvStringW UTF8toW(const CQvStringA& text);
  static CQvStringW UTF8toW(std::string_view text);
  static CQvStringW UTF8toW(const std::string& text) { return UTF8toW(std::string_view(text)); }

  // Wide to UTF-16 for interfaces that want it whatever the width of wchar_t: characters above U+FFFF become surrogate
  // pairs. An escaped byte U+DC80..U+DCFF would not survive a UTF-16 reader on its own, so it travels as the
  // private-use character U+10DC80..U+10DCFF and comes back from UTF16toW as the escape.
  static std::u16string WtoUTF16(const wchar_t* text);
  static CQvStringW UTF16toW(const char16_t* text);
  static CQvStringW UTF16toW(std::u16string_view text);

  // Lower-cases in place, character by character, with towlower under one fixed UTF-8 character-type locale, so that
  // the result depends neither on the process's locale nor on the machine's. ASCII takes a fast branch with the same
  // result.
  static void ToLower(std::wstring& text) noexcept;
  // Equality under the same lower-casing.
  static bool EqualNoCase(std::wstring_view a, std::wstring_view b) noexcept;
};
