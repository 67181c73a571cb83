#include "system/qvthumbnaildescription.h"

#include <string>
#include <string_view>

namespace {

// The surrogate is followed by a letter, so it stays lone in UTF-16 too; the letters are lower case, so lower-casing a
// location keeps it.
constexpr std::wstring_view kPrefix =
    L"\xD8DB"
    L"db:";

struct SDBLocation {
  std::wstring_view record;
  std::wstring_view field;
};

bool IsDigit(wchar_t c) noexcept { return c >= L'0' && c <= L'9'; }

bool Parse(const CQvStringW& location, SDBLocation* parsed) noexcept {
  std::wstring_view rest = location.Str();
  if (!CQvStringUtils::EqualNoCase(rest.substr(0, kPrefix.size()), kPrefix)) return false;
  rest.remove_prefix(kPrefix.size());
  std::size_t digits = !rest.empty() && rest.front() == L'-' ? 1 : 0;
  const std::size_t sign = digits;
  while (digits < rest.size() && IsDigit(rest[digits])) ++digits;
  if (digits == sign || digits == rest.size() || rest[digits] != L':') return false;
  *parsed = {rest.substr(0, digits), rest.substr(digits + 1)};
  return true;
}

}  // namespace

bool SQvThumbnailDescription::IsFileLoc(const CQvStringW& location) noexcept {
  return !location.IsEmpty() && !IsDBLoc(location);
}

bool SQvThumbnailDescription::IsDBLoc(const CQvStringW& location) noexcept {
  SDBLocation parsed;
  return Parse(location, &parsed);
}

CQvStringW SQvThumbnailDescription::ExtractFilePath(const CQvStringW& location) {
  return IsFileLoc(location) ? location : CQvStringW();
}

CQvStringW SQvThumbnailDescription::ExtractDBRecID(const CQvStringW& location) {
  SDBLocation parsed;
  return Parse(location, &parsed) ? CQvStringW(parsed.record) : CQvStringW();
}

CQvStringW SQvThumbnailDescription::ExtractDBField(const CQvStringW& location) {
  SDBLocation parsed;
  return Parse(location, &parsed) ? CQvStringW(parsed.field) : CQvStringW();
}

CQvStringW SQvThumbnailDescription::MakeDBLocation(std::int32_t recordID, const CQvStringW& field) {
  return CQvStringW(kPrefix) + CQvStringW(std::to_wstring(recordID)) + CQvStringW(L":") + field;
}
