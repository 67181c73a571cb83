#include "platform/system/string_case.h"

#include <locale.h>
#include <wctype.h>

#include "system/qvdiag.h"

namespace {

locale_t OpenCaseLocale() noexcept {
  const locale_t locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
  if (!locale) DiagOutputExW(L"The C.UTF-8 locale is missing: only ASCII letters compare without regard to case");
  return locale;
}

}  // namespace

wchar_t LowerBeyondAscii(wchar_t c) noexcept {
  // Never freed: strings are lower-cased until the very end of the process.
  static const locale_t locale = OpenCaseLocale();
  return locale ? static_cast<wchar_t>(towlower_l(static_cast<wint_t>(c), locale)) : c;
}
