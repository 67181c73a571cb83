#include "platform/system/string_case.h"

#include <cstdint>
#include <string>
#include <string_view>

#include "system/qvstring.h"

namespace {

constexpr std::size_t kBlock = 16;

wchar_t LowerAscii(wchar_t c) noexcept {
  const bool upper = static_cast<std::uint32_t>(c) - L'A' < 26u;
  return static_cast<wchar_t>(c + (upper ? L'a' - L'A' : 0));
}

bool IsAscii(wchar_t c) noexcept { return static_cast<std::uint32_t>(c) < 0x80u; }

wchar_t Lower(wchar_t c) noexcept { return IsAscii(c) ? LowerAscii(c) : LowerBeyondAscii(c); }

// True, and the block lower-cased, when it is ASCII throughout. Without branches inside, so that it vectorises.
bool LowerAsciiBlock(wchar_t* block) noexcept {
  std::uint32_t all = 0;
  for (std::size_t i = 0; i < kBlock; ++i) all |= static_cast<std::uint32_t>(block[i]);
  if (all >= 0x80u) return false;
  for (std::size_t i = 0; i < kBlock; ++i) block[i] = LowerAscii(block[i]);
  return true;
}

}  // namespace

void CQvStringUtils::ToLower(std::wstring& text) noexcept {
  wchar_t* c = text.data();
  wchar_t* const end = c + text.size();
  while (c != end) {
    if (static_cast<std::size_t>(end - c) >= kBlock && LowerAsciiBlock(c)) {
      c += kBlock;
      continue;
    }
    wchar_t* const stop = static_cast<std::size_t>(end - c) < kBlock ? end : c + kBlock;
    for (; c != stop; ++c) *c = Lower(*c);
  }
}

bool CQvStringUtils::EqualNoCase(std::wstring_view a, std::wstring_view b) noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && Lower(a[i]) != Lower(b[i])) return false;
  }
  return true;
}
