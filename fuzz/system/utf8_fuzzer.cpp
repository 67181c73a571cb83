// Bytes without zeros come back from wide strings, through UTF-16 and through the serialisation as they were.

#include <cstdint>
#include <string>
#include <string_view>

#include "system/qvlitevariant.h"
#include "system/qvstring.h"
#include "tests/support/trap.h"

using qvtest::TrapUnless;

namespace {

// Where wide strings hold the private-use characters that stand for escaped bytes in UTF-16, these come back instead.
bool HoldsUtf16Escape(const std::wstring& text) {
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
  TrapUnless(CQvStringUtils::WtoUTF8(wide).Str() == bytes);
  TrapUnless(CQvStringUtils::WtoUTF8(wide.c_str()).Str() == bytes);
  if (!HoldsUtf16Escape(wide.Str())) {
    TrapUnless(CQvStringUtils::UTF16toW(CQvStringUtils::WtoUTF16(wide.c_str())) == wide);
  }
  CQvLiteVariantW writer;
  CQvLiteVariantR reader;
  CQvStringW back;
  TrapUnless(writer.WriteString(L"s", wide) == 0 && writer.Finalize(reader, 0) == 0);
  TrapUnless(reader.ReadString(L"s", &back) == 0 && back == wide);
  std::wstring lower = wide.Str();
  CQvStringUtils::ToLower(lower);
  TrapUnless(CQvStringUtils::EqualNoCase(lower, wide.Str()));
  return 0;
}
