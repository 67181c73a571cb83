// Whatever is accepted as registration data names classes.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "platform/system/registration_text.h"
#include "tests/support/trap.h"

using qvtest::TrapUnless;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Every second time the bytes are taken as Latin letters, which gets further into the XML.
  const bool wide = size > 0 && data[0] % 2 == 0;
  std::u16string units;
  if (wide) {
    units.resize((size - 1) / 2);
    std::memcpy(units.data(), data + 1, units.size() * 2);
  } else {
    for (std::size_t i = 1; i < size; ++i) units += static_cast<char16_t>(data[i]);
    units += std::u16string(2, u'\0');
  }
  std::vector<SQvRTTIClass> classes(1);
  const wchar_t* error = ParseRegistrationData(units, &classes);
  TrapUnless(!error || classes.size() == 1);
  for (std::size_t i = 1; i < classes.size(); ++i) {
    TrapUnless(!classes[i].className.IsEmpty() && classes[i].className.GetLength() <= 255);
  }
  return 0;
}
