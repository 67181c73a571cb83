#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "system/qvstring.h"

namespace imageformats {

// Texts out of files, made fit for a record: ended at the first zero byte, trimmed of blanks at both ends, control
// characters except tabs and line ends left out, at most kMaxTextLength characters.
constexpr std::size_t kMaxTextLength = 65536;

// UTF-8 when the bytes are valid UTF-8, else Latin-1.
CQvStringW TextOf(std::string_view bytes);
CQvStringW TextOfLatin1(std::string_view bytes);
CQvStringW TextOfUtf16(std::string_view bytes, bool bigEndian);

constexpr char LowerAscii(char c) noexcept { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }
// The text in lower case where it is ASCII.
std::string LowerAscii(std::string_view text);
// Without blanks, line ends and zero bytes at both ends.
std::string_view Trimmed(std::string_view text);
// The finite number that the text begins with; 0 when there is none.
double LeadingNumber(std::string_view text);

// A number as people write it, with a point whatever the locale: at most `decimals` places, no trailing zeros.
std::string NumberText(double value, int decimals);

// Sets `target` when it is still empty and `text` is not.
void SetIfEmpty(CQvStringW& target, const CQvStringW& text);
// Joins what is not empty.
CQvStringW Joined(const CQvStringW& a, const wchar_t* between, const CQvStringW& b);
std::string Joined(std::initializer_list<std::string_view> parts, std::string_view between);

}  // namespace imageformats
