// Bytes without zeros come back from wide strings, through UTF-16 and through the serialisation as they were.

#include <cstdint>
#include <string>
#include <string_view>

#include "system/qvlitevariant.h"
#include "system/qvstring.h"

namespace {

void Check(bool holds) {
  if (!holds) __builtin_trap();
}

// Where wide strings hold the private-use characters that stand for escaped bytes in UTF-16, these come back instead.
bool HoldsTravellingEscape(const std::wstring& text) {
  for (const wchar_t c : text) {
    if (static_cast<std::uint32_t>(c) - 0x10DC80u < 0x80u) return true;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string bytes(reinterpret_cast<const char*>(data), size);
  bytes.resize(bytes.find('\0') == std::string::npos ? size : bytes.find('\0'));
  const CQvStringW wide = CQvStringUtils::UTF8toW(bytes.c_str());
  Check(CQvStringUtils::WtoUTF8(wide).Str() == bytes);
  Check(CQvStringUtils::WtoUTF8(wide.c_str()).Str() == bytes);
  if (!HoldsTravellingEscape(wide.Str())) {
    Check(CQvStringUtils::UTF16toW(CQvStringUtils::WtoUTF16(wide.c_str())) == wide);
  }
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  CQvStringW back;
  Check(writer.WriteString(L"s", wide) == 0 && writer.Finalize(reader, 0) == 0);
  Check(reader.ReadString(L"s", &back) == 0 && back == wide);
  std::wstring lower = wide.Str();
  CQvStringUtils::ToLower(lower);
  Check(CQvStringUtils::EqualNoCase(lower, wide.Str()));
  return 0;
}
