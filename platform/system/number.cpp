#include <cstdint>
#include <limits>

#include "system/qvfile.h"

bool QV_Is64Bit() noexcept { return sizeof(void*) == 8; }

std::int32_t QV_wtoi(const wchar_t* text) noexcept {
  if (!text) return 0;
  while (*text == L' ' || (*text >= L'\t' && *text <= L'\r')) ++text;
  const bool negative = *text == L'-';
  if (negative || *text == L'+') ++text;
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  const std::int64_t limit = negative ? kMax + 1 : kMax;
  std::int64_t value = 0;
  for (; *text >= L'0' && *text <= L'9'; ++text) {
    value = value * 10 + (*text - L'0');
    if (value > limit) value = limit;
  }
  return static_cast<std::int32_t>(negative ? -value : value);
}
