#include "platform/imageformats/process/wire.h"

namespace imageformats {

void CWireReader::Text(CQvStringW& text) {
  const auto [bytes, size] = Bytes();
  std::wstring characters(size / sizeof(wchar_t), L'\0');
  if (!characters.empty()) std::memcpy(characters.data(), bytes, characters.size() * sizeof(wchar_t));
  for (wchar_t& c : characters) {
    const auto code = static_cast<std::uint32_t>(c);
    if (code == 0 || code > 0x10FFFF) c = static_cast<wchar_t>(0xFFFD);
  }
  text = CQvStringW(std::move(characters));
}

}  // namespace imageformats
